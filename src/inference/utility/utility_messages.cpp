// The messages of the utility engine and the results that are read from its cliques.

#include <algorithm>
#include <cmath>

#include "inference/engine.h"
#include "inference/evidence/evidence.h"
#include "inference/utility/utility_engine.h"

namespace tv {
namespace {

// Whether the node has a finding that does not reduce the shapes.
bool has_finding(const UtilityEngine& engine, const Node& node) noexcept {
  const NodeState& data = engine[node];
  return data.propagated_state != kNoEvidence && data.known_state < 0;
}

// ---- Messages ----

UtilityLink& other_end(UtilityEngine& engine, const UtilityLink& link) noexcept {
  return engine.cliques[link.neighbor].links[link.back];
}

size_t configurations(const UtilityLink& link) noexcept { return link.map.other_size; }

constexpr int32_t kLeastExponent = -900;  // of probabilities in plain doubles

// The same for probabilities with exponents of their own, which are dropped where doubles hold them all.
void finish_wide_message(UtilityLink& message, size_t size) noexcept {
  int32_t largest = INT32_MIN, smallest = INT32_MAX;
  for (size_t i = 0; i < size; ++i) {
    if (!(message.probability[i] > 0.0)) continue;
    int shift = 0;
    message.probability[i] = std::frexp(message.probability[i], &shift);
    message.exponents[i] += shift;
    largest = std::max(largest, message.exponents[i]);
    smallest = std::min(smallest, message.exponents[i]);
  }
  for (size_t i = 0; i < size; ++i)
    message.exponents[i] = message.probability[i] > 0.0 ? message.exponents[i] - largest : 0;
  message.is_wide = smallest < largest && smallest - largest < kLeastExponent;
  if (message.is_wide) return;
  for (size_t i = 0; i < size; ++i)
    message.probability[i] = std::ldexp(message.probability[i], message.exponents[i]);
}

// Turns sums into a message: utilities given the configuration, and probabilities of which the largest is
// between one half and one.
void finish_message(UtilityLink& message, size_t size) noexcept {
  const double largest = *std::max_element(message.probability, message.probability + size);
  if (message.has_utility)
    for (size_t i = 0; i < size; ++i)
      message.utility[i] = message.probability[i] > 0.0 ? message.utility[i] / message.probability[i] : 0.0;
  if (message.is_wide) return finish_wide_message(message, size);
  if (!(largest > 0.0) || !std::isfinite(largest)) return;
  int exponent = 0;
  std::frexp(largest, &exponent);
  for (size_t i = 0; i < size; ++i) message.probability[i] = std::ldexp(message.probability[i], -exponent);
}

// Sends the message of a clique through one of its links.
void send(UtilityEngine& engine, size_t clique, size_t via) noexcept {
  UtilityClique& work = engine.cliques[clique];
  UtilityLink& link = work.links[via];
  UtilityLink& message = other_end(engine, link);
  prepare_pass(engine, clique, {.link = via});
  const size_t size = configurations(link);
  message.has_utility = !engine.pass.terms.empty();
  std::fill_n(message.probability, size, 0.0);
  if (message.has_utility) std::fill_n(message.utility, size, 0.0);
  engine.pass.targets.push_back({&link.map, message.probability, message.utility, message.exponents});
  engine.pass.run(work.shape);
  message.is_wide = engine.pass.is_wide;
  finish_message(message, size);
  message.valid = true;
}

// ---- Reading ----

double conditional(double utility, double probability) noexcept {
  return probability > 0.0 ? utility / probability : 0.0;
}

// Adds a marginal over the states of a node, behind those that are there.
size_t add_states(UtilityEngine& engine, const UtilityMember& home, size_t used) noexcept {
  double* totals = engine.totals.data() + used;
  const size_t states = home.node->number_of_states;
  std::fill_n(totals, 2 * states, 0.0);
  engine.pass.targets.push_back({&home.map, totals, totals + states, engine.total_exponents.data() + used});
  return used + 2 * states;
}

void store_states(const UtilityEngine& engine, const UtilityMember& home, const double* totals) noexcept {
  const NodeState& data = engine[*home.node];
  const size_t states = home.node->number_of_states;
  // An observed state has no dimension: its sums are in the first entry.
  if (data.known_state >= 0) {
    std::fill_n(data.expected_utility, states, 0.0);
    data.expected_utility[data.known_state] = conditional(totals[states], totals[0]);
    return;
  }
  for (size_t s = 0; s < states; ++s) data.expected_utility[s] = conditional(totals[states + s], totals[s]);
}

void add_moments(UtilityEngine& engine, UtilityClique& work) noexcept {
  for (UtilityOperand& operand : work.operands) {
    if (!operand.is_utility() || !counts(engine, operand)) continue;
    const float* values = operand.table()->data.data() + known_offset(engine, work, operand);
    engine.pass.moments.push_back({&operand.map, values, static_cast<double>(*values)});
  }
}

void store_moments(const UtilityEngine& engine, const UtilityClique& work) noexcept {
  size_t next = 0;
  for (const UtilityOperand& operand : work.operands) {
    if (!operand.is_utility()) continue;
    double* result = engine[*operand.node].expected_utility;
    result[0] = result[1] = 0.0;
    if (!counts(engine, operand)) continue;
    const PassMoments& moments = engine.pass.moments[next++];
    const double first = conditional(moments.first, engine.pass.mass);
    result[0] = conditional(moments.total, engine.pass.mass);
    result[1] = std::max(0.0, conditional(moments.second, engine.pass.mass) - first * first);
  }
}

// Nodes whose own finding is to be left out: their answers rest on all evidence but it.
bool is_read_apart(const UtilityEngine& engine, const Node& node) noexcept {
  return engine.mode == tv_evidence_fast_retraction && has_finding(engine, node);
}

void read_apart(UtilityEngine& engine, size_t clique, const UtilityMember& home) noexcept {
  prepare_pass(engine, clique, {.finding = home.node});
  add_states(engine, home, 0);
  engine.pass.run(engine.cliques[clique].shape);
  store_states(engine, home, engine.totals.data());
}

void read_clique(UtilityEngine& engine, size_t clique) noexcept {
  UtilityClique& work = engine.cliques[clique];
  collect_utilities(engine, clique);
  prepare_pass(engine, clique, {});
  size_t used = 0;
  for (const UtilityMember& home : work.homes)
    if (!is_read_apart(engine, *home.node)) used = add_states(engine, home, used);
  add_moments(engine, work);
  if (used > 0 || !engine.pass.moments.empty()) engine.pass.run(work.shape);
  used = 0;
  for (const UtilityMember& home : work.homes) {
    if (is_read_apart(engine, *home.node)) continue;
    store_states(engine, home, engine.totals.data() + used);
    used += 2 * home.node->number_of_states;
  }
  store_moments(engine, work);
  for (const UtilityMember& home : work.homes)
    if (is_read_apart(engine, *home.node)) read_apart(engine, clique, home);
}

void copy_findings(UtilityEngine& engine) noexcept {
  for (UtilityMember& home : engine.homes)
    if (has_finding(engine, *home.node))
      for (size_t s = 0; s < home.node->number_of_states; ++s)
        home.finding[s] = finding_that_is_propagated(*home.node, engine[*home.node], s);
}

double largest_utility(const Node& node) noexcept {
  double largest = 0.0;
  if (node.table)
    for (float value : node.table->data) largest = std::max(largest, std::fabs(static_cast<double>(value)));
  return largest;
}

}  // namespace

void prepare_pass(UtilityEngine& engine, size_t clique, const Omissions& omitted) noexcept {
  UtilityClique& work = engine.cliques[clique];
  engine.pass.clear();
  for (UtilityOperand& operand : work.operands) {
    if ((omitted.table && operand.node == omitted.table) || !counts(engine, operand)) continue;
    refresh_operand(work, operand);
    const float* numbers = operand.table()->data.data() + known_offset(engine, work, operand);
    (operand.is_utility() ? engine.pass.terms : engine.pass.factors).push_back({&operand.map, numbers});
  }
  for (const UtilityMember& home : work.homes)
    if (home.node != omitted.finding && has_finding(engine, *home.node))
      engine.pass.factors.push_back({&home.map, home.finding});
  for (size_t l = 0; l < work.links.size(); ++l) {
    const UtilityLink& link = work.links[l];
    if (l == omitted.link) continue;
    engine.pass.factors.push_back(
        {&link.map, nullptr, link.probability, link.is_wide ? link.exponents : nullptr});
    if (link.has_utility) engine.pass.terms.push_back({&link.map, nullptr, link.utility});
  }
}

void collect_utilities(UtilityEngine& engine, size_t clique) noexcept {
  engine.path.clear();
  const auto ask_all_but = [&](size_t here, size_t excluded) {
    const UtilityClique& work = engine.cliques[here];
    for (size_t l = 0; l < work.links.size(); ++l)
      if (l != excluded && !work.links[l].valid)
        engine.path.push_back({work.links[l].neighbor, work.links[l].back});
  };
  ask_all_but(clique, kNone);
  for (size_t i = 0; i < engine.path.size(); ++i) ask_all_but(engine.path[i].clique, engine.path[i].link);
  for (size_t i = engine.path.size(); i-- > 0;) send(engine, engine.path[i].clique, engine.path[i].link);
}

void invalidate_messages(UtilityEngine& engine, size_t clique) noexcept {
  engine.path.clear();
  const auto invalidate_all_but = [&](size_t here, size_t excluded) {
    const UtilityClique& work = engine.cliques[here];
    for (size_t l = 0; l < work.links.size(); ++l) {
      UtilityLink& message = other_end(engine, work.links[l]);
      if (l == excluded || !message.valid) continue;  // nothing behind the node depends on an invalid message
      message.valid = false;
      engine.path.push_back({work.links[l].neighbor, work.links[l].back});
    }
  };
  invalidate_all_but(clique, kNone);
  for (size_t i = 0; i < engine.path.size(); ++i)
    invalidate_all_but(engine.path[i].clique, engine.path[i].link);
}

void forget_utilities(TreeEngine& probabilities) noexcept {
  if (UtilityEngine* const engine = probabilities.utilities.get()) {
    engine->stale = true;
    engine->saved_tables.clear();
    ++engine->version;
  }
}

void update_expected_utilities(TreeEngine& probabilities, std::span<Node* const> changed) noexcept {
  UtilityEngine* const engine = probabilities.utilities.get();
  if (!engine) return;
  if (engine->mode != probabilities.mode)
    engine->stale = true;  // between the modes, findings become shapes or the reverse
  if (changed.empty() && !engine->stale) return;
  engine->mode = probabilities.mode;
  shape_utilities(*engine);
  copy_findings(*engine);
  for (const Node* node : changed) engine->cliques[placement(*node).home->position].dirty = true;
  if (engine->stale) {
    engine->scale = 0.0;
    for (UtilityLink& link : engine->links) link.valid = false;
    for (const UtilityOperand& operand : engine->operands)
      if (operand.is_utility()) engine->scale += largest_utility(*operand.node);
  } else {
    for (size_t c = 0; c < engine->cliques.size(); ++c)
      if (engine->cliques[c].dirty) invalidate_messages(*engine, c);
  }
  engine->stale = false;
  engine->saved_tables.clear();
  ++engine->version;
  for (size_t c = 0; c < engine->cliques.size(); ++c) read_clique(*engine, c);
}

namespace {

// Gives the states of a decision under one configuration of its parents a common factor.
void share_exponent(double* utilities, double* masses, const int32_t* exponents, size_t states) noexcept {
  int32_t largest = INT32_MIN;
  for (size_t s = 0; s < states; ++s)
    if (masses[s] > 0.0) largest = std::max(largest, exponents[s]);
  for (size_t s = 0; s < states; ++s) {
    if (!(masses[s] > 0.0)) continue;
    utilities[s] = std::ldexp(utilities[s], exponents[s] - largest);
    masses[s] = std::ldexp(masses[s], exponents[s] - largest);
  }
}

}  // namespace

void sum_over_family(UtilityEngine& engine, const Node& decision, double* utilities, double* masses,
                     int32_t* exponents) noexcept {
  const size_t clique = placement(decision).assigned->position;
  UtilityClique& work = engine.cliques[clique];
  collect_utilities(engine, clique);
  prepare_pass(engine, clique, {.table = &decision});
  for (UtilityOperand& operand : work.operands) {
    if (operand.node != &decision) continue;
    refresh_operand(work, operand);
    const size_t offset = known_offset(engine, work, operand);
    engine.pass.targets.push_back({&operand.map, masses + offset, utilities + offset, exponents + offset});
  }
  engine.pass.run(work.shape);
  if (!engine.pass.is_wide) return;
  const size_t states = decision.number_of_states;
  for (size_t i = 0; i < decision.table->size; i += states)
    share_exponent(utilities + i, masses + i, exponents + i, states);
}

}  // namespace tv
