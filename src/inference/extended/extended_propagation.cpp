#include "inference/extended/extended_propagation.h"

#include <algorithm>
#include <cmath>

#include "api/float_environment.h"
#include "inference/evidence/evidence.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/schedule_cache.h"
#include "network/progress.h"
#include "tables/kernels/number_bounds.h"

namespace tv {
namespace {

constexpr uint32_t kNoLink = static_cast<uint32_t>(kNone);

// The status that follows from the sum of a message whose factors have been scaled.
tv_status_t check_sum(const WideArray& array) noexcept {
  double sum = 0.0;
  bool is_positive = false;
  for (size_t i = 0; i < array.size(); ++i) {
    const WideNumber number = entry(array, i);
    is_positive |= number.mantissa > 0.0;
    sum += number.value();
  }
  if (!is_positive) return tv_status_inconsistency_or_underflow;
  return sum < kLargestFloat ? tv_status_none : tv_status_overflow;
}

// Tables may have another layout than when they were last read.
void refresh_potentials(TreeEngine& engine) noexcept {
  for (CliquePotential& plan : engine.clique_potentials)
    if (refresh_potential(plan)) engine.schedules->clear_schedules();
}

}  // namespace

// Under fast retraction only required instantiations have no dimension.
bool ExtendedPropagation::is_free(const Node& node) const noexcept {
  const NodeState& data = engine_[node];
  return is_discrete(node) && node.number_of_states > 1 &&
         (engine_.tree->sparse ? -1
          : retracts()         ? data.observed_state
                               : data.propagated_state) < 0;
}

void ExtendedPropagation::find_order(size_t root) {
  order_.assign(1, {static_cast<uint32_t>(root), kNoLink});
  order_.reserve(engine_.cliques.size());
  for (size_t i = 0; i < order_.size(); ++i) {
    const Visit here = order_[i];
    for (uint32_t l = 0; l < work(here.clique).links.size(); ++l) {
      const CliqueLink& link = work(here.clique).links[l];
      if (l != here.link) order_.push_back({link.neighbor, link.back});
    }
  }
}

// ---- Cliques ----

bool ExtendedPropagation::holds_finding(const Clique& clique, const Node& node) const noexcept {
  return !retracts() && placement(node).home == &clique && has_finding_vector(engine_, engine_[node]);
}

// With its potentials, its findings and all messages from the cliques behind it.
ExtendedClique ExtendedPropagation::clique_with_messages(const Visit& visit) const {
  const CliqueWork& here = work(visit.clique);
  ExtendedClique clique(engine_, here, [this](const Node& node) { return is_free(node); });
  clique.add_potentials();
  for (size_t m = 0; m < here.table.members->size(); ++m)
    if (const Node& node = clique.member(m); holds_finding(*here.clique, node)) {
      const ptrdiff_t state = engine_[node].propagated_state;
      if (state >= 0)
        clique.add_state(m, static_cast<size_t>(state));
      else
        clique.add_finding(m, engine_.propagated_finding(node));
    }
  for (const LogFactor& factor : factors_)
    if (factor.clique == visit.clique) clique.add_logarithms(factor);
  for (size_t l = 0; l < here.links.size(); ++l) {
    if (l == visit.link) continue;
    const CliqueLink& link = here.links[l];
    clique.add_message(inward_[link.separator].numbers,
                       clique.map_of_link(link, engine_.separators[link.separator].separator->members));
  }
  return clique;
}

ExtendedPropagation::Marginal ExtendedPropagation::message_of(const ExtendedClique& clique,
                                                              size_t link) const {
  const CliqueLink& plan = clique.work().links[link];
  Marginal marginal;
  marginal.totals.mantissas.resize(clique.separator_size(plan));
  marginal.map = clique.map_of_link(plan, engine_.separators[plan.separator].separator->members);
  marginal.link = link;
  return marginal;
}

// The marginals of a calibrated clique that are needed: its outgoing messages, and the beliefs of nodes at
// home in it.
std::vector<ExtendedPropagation::Marginal> ExtendedPropagation::marginals_of(const ExtendedClique& clique,
                                                                             const Visit& visit,
                                                                             Results results) const {
  std::vector<Marginal> marginals;
  for (size_t l = 0; l < clique.work().links.size(); ++l)
    if (l != visit.link) marginals.push_back(message_of(clique, l));
  for (size_t m = 0; m < clique.work().table.members->size() && results.beliefs; ++m) {
    const Node& node = clique.member(m);
    if (placement(node).home != clique.work().clique || !is_free(node)) continue;
    Marginal marginal;
    marginal.totals.mantissas.resize(node.number_of_states);
    marginal.map = clique.map_of_member(m);
    marginal.node = &node;
    marginals.push_back(std::move(marginal));
  }
  if (results.tables) {
    Marginal table;
    table.totals.mantissas.resize(clique.size());
    table.map = clique.own_map();
    marginals.push_back(std::move(table));
  }
  return marginals;
}

// Under fast retraction each marginal is weighted with the findings of the members that are summed out.
void ExtendedPropagation::run(ExtendedClique& clique, std::span<Marginal> marginals) const {
  const bool maximizes = equilibrium_ == tv_equilibrium_max;
  std::vector<WideTarget> targets;
  for (Marginal& marginal : marginals) targets.push_back({&marginal.totals, marginal.map});
  if (!retracts() || ignores_findings_)
    return run_wide_pass(clique.counts(), clique.factors(), targets, maximizes);
  const size_t count = clique.factor_count();
  for (size_t i = 0; i < marginals.size(); ++i) {
    const Marginal& marginal = marginals[i];
    const bool is_table = marginal.link == kNone && !marginal.node;
    for (size_t m = 0; !is_table && m < clique.work().table.members->size(); ++m) {
      const Node& node = clique.member(m);
      const ptrdiff_t state = engine_[node].propagated_state;
      const bool keeps = marginal.link == kNone
                             ? &node == marginal.node
                             : clique.work().links[marginal.link].member_of[m] != kNoMember;
      if (keeps || state == kNoEvidence || !is_discrete(node)) continue;
      if (state == kFindingVector)
        clique.add_finding(m, engine_.propagated_finding(node));
      else
        clique.add_state(m, static_cast<size_t>(state));
    }
    run_wide_pass(clique.counts(), clique.factors(), {&targets[i], 1}, maximizes);
    clique.keep_factors(count);
  }
}

// ---- Collecting ----

tv_status_t ExtendedPropagation::send_inward(const Visit& visit) {
  ExtendedClique clique = clique_with_messages(visit);
  Marginal marginal = message_of(clique, visit.link);
  run(clique, {&marginal, 1});
  if (tv_status_t status = check_sum(marginal.totals))
    return retracts() && status != tv_status_overflow ? tv_status_fast_retraction : status;
  Message& message = inward_[clique.work().links[visit.link].separator];
  message.exponent = exponent_of(visit) + normalize(marginal.totals);
  message.numbers = std::move(marginal.totals);
  return tv_status_none;
}

// The power of two that was taken out of the messages that the clique has received.
int64_t ExtendedPropagation::exponent_of(const Visit& visit) const noexcept {
  const CliqueWork& here = work(visit.clique);
  int64_t exponent = 0;
  for (size_t l = 0; l < here.links.size(); ++l)
    if (l != visit.link) exponent += inward_[here.links[l].separator].exponent;
  return exponent;
}

tv_status_t ExtendedPropagation::sum_root(const Visit& visit) {
  ExtendedClique clique = clique_with_messages(visit);
  Marginal whole;
  whole.totals.mantissas.resize(1);
  whole.map = clique.map_of_all();
  run(clique, {&whole, 1});
  mass_ = entry(whole.totals, 0);
  mass_.exponent += exponent_of(visit);
  return check_sum(whole.totals);
}

tv_status_t ExtendedPropagation::collect(size_t root) {
  refresh_potentials(engine_);
  find_order(root);
  inward_.assign(engine_.separators.size(), {});
  outward_.assign(engine_.separators.size(), {});
  ProgressMeter progress(*engine_.domain, "propagation", order_.size());
  for (size_t i = order_.size(); i-- > 1;) {
    if (tv_status_t status = progress.advance()) return status;
    if (tv_status_t status = send_inward(order_[i])) return status;
  }
  return sum_root(order_.front());
}

std::vector<size_t> ExtendedPropagation::strides(size_t separator) const {
  const NodeList& members = engine_.separators[separator].separator->members;
  std::vector<size_t> strides(members.size(), 0);
  size_t stride = 1;
  for (size_t m = members.size(); m-- > 0;) {
    if (!is_free(*members[m])) continue;
    strides[m] = stride;
    stride *= members[m]->number_of_states;
  }
  return strides;
}

// ---- Distributing ----

tv_status_t ExtendedPropagation::send_outward(const Visit& visit, Results results) {
  ExtendedClique clique = clique_with_messages(visit);
  const CliqueWork& here = clique.work();
  int64_t exponent = exponent_of(visit);
  if (visit.link != kNoLink) {
    const CliqueLink& link = here.links[visit.link];
    exponent += outward_[link.separator].exponent;
    clique.add_message(outward_[link.separator].numbers,
                       clique.map_of_link(link, engine_.separators[link.separator].separator->members));
  }
  std::vector<Marginal> marginals = marginals_of(clique, visit, results);
  run(clique, marginals);
  for (Marginal& marginal : marginals) {
    if (marginal.node) {
      if (tv_status_t status = store_belief(*marginal.node, marginal.totals)) return status;
    } else if (marginal.link == kNone) {
      store_numbers(marginal.totals, exponent, here.table.numbers);
    } else {
      const size_t separator = here.links[marginal.link].separator;
      if (results.tables) store_numbers(marginal.totals, exponent, engine_.separators[separator].old.numbers);
      divide(marginal.totals, inward_[separator].numbers);
      Message& message = outward_[separator];
      message.exponent = exponent - inward_[separator].exponent + normalize(marginal.totals);
      message.numbers = std::move(marginal.totals);
    }
  }
  return tv_status_none;
}

tv_status_t ExtendedPropagation::distribute(Results results) {
  ProgressMeter progress(*engine_.domain, "propagation", order_.size());
  for (const Visit& visit : order_) {
    if (tv_status_t status = progress.advance()) return status;
    if (tv_status_t status = send_outward(visit, results)) return status;
  }
  if (results.beliefs) store_certain_beliefs();
  return retracts() && !ignores_findings_ ? check_zeros() : tv_status_none;
}

std::vector<bool> ExtendedPropagation::positive_numbers() const {
  std::vector<bool> positive;
  for (const std::vector<Message>* messages : {&inward_, &outward_})
    for (const Message& message : *messages)
      for (const double mantissa : message.numbers.mantissas) positive.push_back(mantissa > 0.0);
  return positive;
}

// A number that is positive without findings may not become zero: later propagations could not divide by it.
tv_status_t ExtendedPropagation::check_zeros() const {
  const std::vector<bool> positive = positive_numbers();
  if (std::find(positive.begin(), positive.end(), false) == positive.end()) return tv_status_none;
  ExtendedPropagation prior(engine_, equilibrium_, mode_, factors_);
  prior.ignores_findings_ = true;
  if (tv_status_t status = prior.collect(order_.front().clique)) return status;
  if (tv_status_t status = prior.distribute({})) return status;
  return positive == prior.positive_numbers() ? tv_status_none : tv_status_fast_retraction;
}

// ---- Results ----

namespace {

// Of the largest number; 0 where all are zero.
int64_t top_exponent(const WideArray& totals) noexcept {
  int64_t top = INT64_MIN;
  for (size_t i = 0; i < totals.size(); ++i)
    if (const WideNumber number = entry(totals, i); number.mantissa > 0.0)
      top = std::max(top, number.exponent);
  return top == INT64_MIN ? 0 : top;
}

}  // namespace

tv_status_t ExtendedPropagation::store_belief(const Node& node, WideArray& totals) const noexcept {
  const int64_t top = top_exponent(totals);
  double whole = 0.0;
  for (size_t i = 0; i < totals.size(); ++i) {
    WideNumber number = entry(totals, i);
    number.exponent -= top;
    const double value = number.mantissa > 0.0 ? number.value() : 0.0;
    totals.mantissas[i] = value;
    whole = equilibrium_ == tv_equilibrium_max ? std::max(whole, value) : whole + value;
  }
  tv_number_t* const belief = engine_[node].belief;
  for (size_t i = 0; i < totals.size(); ++i)
    belief[i] = static_cast<tv_number_t>(whole > 0.0 ? totals.mantissas[i] / whole : 0.0);
  return whole > 0.0 ? tv_status_none : tv_status_normalization;
}

// Scaled by the mass of the root. Under fast retraction that has factors which the table lacks, so that its
// largest entry is scaled to about one instead.
void ExtendedPropagation::store_numbers(const WideArray& totals, int64_t exponent,
                                        float* numbers) const noexcept {
  WideNumber unit = mass_;
  if (retracts()) unit = {1.0, exponent + top_exponent(totals)};
  for (size_t i = 0; i < totals.size(); ++i) {
    WideNumber number = entry(totals, i);
    number.exponent += exponent - unit.exponent;
    number.multiply(1.0 / unit.mantissa);
    numbers[i] = number.mantissa > 0.0
                     ? static_cast<float>(std::clamp(number.value(), kSmallestNormalFloat, kLargestFloat))
                     : 0.0f;
  }
}

void ExtendedPropagation::store_certain_beliefs() const noexcept {
  for (const Node* node : engine_.tree->nodes) {
    if (!is_discrete(*node) || is_free(*node)) continue;
    const NodeState& data = engine_[*node];
    std::fill_n(data.belief, node->number_of_states, 0.0f);
    data.belief[std::max<ptrdiff_t>(data.propagated_state, 0)] = 1.0f;
  }
}

}  // namespace tv
