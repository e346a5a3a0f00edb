// The ranking of observations, each on its own, and greedy sequences of them.
#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "analysis/observations/observations.h"
#include "analysis/observations/outcome_tables.h"
#include "api/boundary.h"
#include "network/refusals.h"

namespace tv {
namespace {

using Observations = tv_observations_s;

// What decides between candidates first: information for a unit of the price.
double yield_of(double information, double price) noexcept {
  if (!(information > 0)) return 0;
  return price > 0 ? information / price : std::numeric_limits<double>::infinity();
}

bool comes_before(const Observations::Entry& a, const Observations::Entry& b) noexcept {
  const double of_a = yield_of(a.information, a.price), of_b = yield_of(b.information, b.price);
  return of_a != of_b ? of_a > of_b : a.information > b.information;
}

class Ranking {
 public:
  explicit Ranking(Node& target) : target_(target), query_(*target.domain, "observations") {}

  tv_status_t start(Node* const* listed, const double* prices, CandidateKind kind) {
    if (tv_status_t status = query_.start()) return status;
    if (tv_status_t status = check_no_decision_above(target_)) return status;
    const std::vector<bool> unknowable = influenced_by_open_decisions(*target_.domain);
    if (tv_status_t status = collect_candidates(target_, listed, prices, kind, unknowable, candidates_))
      return status;
    query_.enter_all();
    return query_.propagate();
  }

  std::unique_ptr<Observations> rank() {
    OutcomeTables tables(query_.distribution(target_), candidates_);
    if (tables.fill(query_, target_)) return nullptr;
    std::unique_ptr<Observations> result = describe(tables, 1);
    for (size_t c = 0; c < candidates_.size(); ++c) result->entries.push_back(entry(c, tables.telling(c)));
    std::stable_sort(result->entries.begin(), result->entries.end(), comes_before);
    return result;
  }

  std::unique_ptr<Observations> choose(size_t length) {
    std::vector<Case> cases(1);
    if (tables_of(cases[0], query_.distribution(target_))) return nullptr;
    std::unique_ptr<Observations> result = describe(*cases[0].tables, length);
    for (;;) {
      const size_t best = best_of(cases, *result);
      if (best == kNone) break;
      chosen_.push_back(best);
      if (chosen_.size() == length) break;
      if (split(cases, best)) return nullptr;
    }
    return result;
  }

 private:
  // What the chosen nodes may show: one state of each.
  struct Case {
    std::vector<size_t> states;
    double probability = 1;
    std::unique_ptr<OutcomeTables> tables;
  };

  Observations::Entry entry(size_t candidate, const Telling& telling) const noexcept {
    return {candidates_[candidate].node, telling.information, telling.error_reduction,
            candidates_[candidate].price};
  }

  // No set of observations can hold more information than the target, nor more than they have entropy.
  std::unique_ptr<Observations> describe(const OutcomeTables& tables, size_t length) const {
    auto result = std::make_unique<Observations>();
    result->entropy = entropy_of(tables.target());
    result->error = error_of(tables.target());
    std::vector<double> entropies;
    for (size_t c = 0; c < candidates_.size(); ++c)
      entropies.push_back(is_discrete(*candidates_[c].node) ? entropy_of(tables.distribution(c))
                                                            : std::numeric_limits<double>::infinity());
    std::sort(entropies.rbegin(), entropies.rend());
    for (size_t i = 0; i < std::min(length, entropies.size()); ++i) result->bound += entropies[i];
    result->bound = std::min(result->bound, result->entropy);
    return result;
  }

  tv_status_t tables_of(Case& known, Distribution target) {
    known.tables = std::make_unique<OutcomeTables>(std::move(target), candidates_);
    return known.tables->fill(query_, target_);
  }

  // Adds the candidate with the best yield to the result; kNone where none tells anything.
  size_t best_of(const std::vector<Case>& cases, Observations& result) const {
    size_t best = kNone;
    Observations::Entry best_entry{};
    for (size_t c = 0; c < candidates_.size(); ++c) {
      if (std::find(chosen_.begin(), chosen_.end(), c) != chosen_.end()) continue;
      Telling sum;
      for (const Case& known : cases) {
        const Telling telling = known.tables->telling(c);
        sum.information += known.probability * telling.information;
        sum.error_reduction += known.probability * telling.error_reduction;
      }
      const Observations::Entry next = entry(c, sum);
      if (!(next.information > 0) || (best != kNone && !comes_before(next, best_entry))) continue;
      best = c;
      best_entry = next;
    }
    if (best != kNone) result.entries.push_back(best_entry);
    return best;
  }

  // Splits each case by what the candidate shows. Where the target is certain then, nothing is left to learn.
  tv_status_t split(std::vector<Case>& cases, size_t candidate) {
    std::vector<Case> parts;
    for (const Case& known : cases)
      for (size_t s = 0; s < candidates_[candidate].node->number_of_states; ++s) {
        Distribution target = known.tables->with_outcome(candidate, s);
        double probability = 0;
        for (const double p : target) probability += p;
        for (double& p : target) p /= probability;
        if (!(probability > 0) || !(entropy_of(target) > 0)) continue;
        parts.push_back({known.states, known.probability * probability, nullptr});
        parts.back().states.push_back(s);
        suppose(parts.back());
        if (tv_status_t status = tables_of(parts.back(), std::move(target))) return status;
      }
    for (const size_t chosen : chosen_) query_.drop_supposition(*candidates_[chosen].node);
    cases = std::move(parts);
    return tv_status_none;
  }

  void suppose(const Case& known) {
    for (size_t i = 0; i < chosen_.size(); ++i)
      query_.suppose(*candidates_[chosen_[i]].node, known.states[i]);
  }

  Node& target_;
  EvidenceQuery query_;
  std::vector<Candidate> candidates_;
  std::vector<size_t> chosen_;
};

Observations* rank(Node* target, Node* const* listed, const double* prices) {
  if (check_open_question(target)) return nullptr;
  Ranking ranking(*target);
  if (ranking.start(listed, prices, CandidateKind::any)) return nullptr;
  return ranking.rank().release();
}

Observations* choose(Node* target, Node* const* listed, const double* prices, size_t length) {
  if (check_open_question(target)) return nullptr;
  if (length < 1 || length > 3)
    return refuse(tv_status_usage, "a sequence has one, two or three observations, not %zu", length), nullptr;
  Ranking ranking(*target);
  if (ranking.start(listed, prices, CandidateKind::discrete)) return nullptr;
  return ranking.choose(length).release();
}

const Observations::Entry* checked_entry(const Observations* observations, size_t index) noexcept {
  return check(observations && index < observations->entries.size()) ? &observations->entries[index]
                                                                     : nullptr;
}

double number_of(const Observations* observations, size_t index,
                 double Observations::Entry::*number) noexcept {
  const Observations::Entry* const entry = checked_entry(observations, index);
  return entry ? entry->*number : -1;
}

}  // namespace
}  // namespace tv

tv_observations_t* tv_node_rank_observations(tv_node_t* target, tv_node_t** candidates,
                                             const double* prices) {
  return tv::guarded<tv_observations_t*>(nullptr, [&] { return tv::rank(target, candidates, prices); });
}

tv_observations_t* tv_node_choose_observations(tv_node_t* target, tv_node_t** candidates,
                                               const double* prices, size_t length) {
  return tv::guarded<tv_observations_t*>(nullptr,
                                         [&] { return tv::choose(target, candidates, prices, length); });
}

tv_status_t tv_observations_delete(tv_observations_t* observations) {
  if (!tv::check(observations)) return tv_status_usage;
  delete observations;
  return tv_status_none;
}

size_t tv_observations_get_number(const tv_observations_t* observations) {
  return tv::check(observations) ? observations->entries.size() : tv::kNone;
}

tv_node_t* tv_observations_get_node(const tv_observations_t* observations, size_t index) {
  const tv_observations_s::Entry* const entry = tv::checked_entry(observations, index);
  return entry ? entry->node : nullptr;
}

double tv_observations_get_information(const tv_observations_t* observations, size_t index) {
  return tv::number_of(observations, index, &tv_observations_s::Entry::information);
}

double tv_observations_get_error_reduction(const tv_observations_t* observations, size_t index) {
  return tv::number_of(observations, index, &tv_observations_s::Entry::error_reduction);
}

double tv_observations_get_price(const tv_observations_t* observations, size_t index) {
  return tv::number_of(observations, index, &tv_observations_s::Entry::price);
}

double tv_observations_get_entropy(const tv_observations_t* observations) {
  return tv::check(observations) ? observations->entropy : -1;
}

double tv_observations_get_error(const tv_observations_t* observations) {
  return tv::check(observations) ? observations->error : -1;
}

double tv_observations_get_bound(const tv_observations_t* observations) {
  return tv::check(observations) ? observations->bound : -1;
}
