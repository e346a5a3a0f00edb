// Scores of discrete families from counts, of conditional Gaussian ones from moments.
#include "learn/structure/search/family_score.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "expr/special_functions.h"

namespace tv {
namespace {

// A configuration with fewer cases for each coefficient of its regression is fitted together with all others
// of that kind.
constexpr double kCasesOfCoefficient = 2.0;

// Of a node in units of its standard deviation.
double gaussian_log_likelihood(double cases, double variance) noexcept {
  return -0.5 * cases * (std::log(2.0 * std::numbers::pi * variance) + 1.0);
}

}  // namespace

FamilySize family_size(const CaseColumns& columns, uint32_t node,
                       std::span<const uint32_t> parents) noexcept {
  FamilySize size;
  double continuous = 0.0;
  for (const uint32_t parent : parents) {
    if (columns.is_discrete(parent))
      size.configurations *= static_cast<double>(columns.states(parent));
    else
      continuous += 1.0;
  }
  size.parameters =
      size.configurations *
      (columns.is_discrete(node) ? static_cast<double>(columns.states(node)) - 1.0 : continuous + 2.0);
  return size;
}

double FamilyScorer::penalty(double parameters) const noexcept {
  if (settings_.score == tv_structure_score_bic)
    return 0.5 * parameters * std::log(std::max(columns_.total(), 1.0));
  return settings_.score == tv_structure_score_aic ? parameters : 0.0;
}

double FamilyScorer::bound(uint32_t node, std::span<const uint32_t> parents) const {
  if (!columns_.is_discrete(node)) return std::numeric_limits<double>::infinity();
  return -penalty(family_size(columns_, node, parents).parameters);
}

double FamilyScorer::score(uint32_t node, std::span<const uint32_t> parents) {
  const FamilySize size = family_size(columns_, node, parents);
  const double entries =
      size.configurations * static_cast<double>(std::max<size_t>(columns_.states(node), 1));
  if (entries > kMostTableEntries) return -std::numeric_limits<double>::infinity();
  const double fit =
      columns_.is_discrete(node) ? score_of_states(node, parents) : score_of_values(node, parents);
  return fit - penalty(size.parameters);
}

double FamilyScorer::score_of_states(uint32_t node, std::span<const uint32_t> parents) {
  const uint32_t own[] = {node};
  const StateCounts counts = counter_.count(parents, own);
  const double states = static_cast<double>(columns_.states(node));
  double cases = 0.0, result = 0.0;
  if (settings_.score == tv_structure_score_k2) {
    result = log_marginal_likelihood(counts, 1.0, states, cases);
  } else if (settings_.score == tv_structure_score_bdeu) {
    const double configurations = family_size(columns_, node, parents).configurations;
    result = log_marginal_likelihood(counts, settings_.equivalent_sample_size / (configurations * states),
                                     states, cases);
  } else {
    result = log_likelihood(counts, cases);
  }
  return cases > 0 ? result * (columns_.total() / cases) : 0.0;
}

double FamilyScorer::log_likelihood(const StateCounts& counts, double& cases) const {
  int64_t sum = 0;
  for (size_t c = 0; c < counts.configurations(); ++c) {
    double total = 0.0;
    for (const double n : counts.configuration(c)) {
      sum += logarithms_(n);
      total += n;
    }
    sum -= logarithms_(total);
    cases += total;
  }
  return logarithms_.value(sum);
}

// States that do not occur have counts of zero, and add nothing.
double FamilyScorer::log_marginal_likelihood(const StateCounts& counts, double prior, double states,
                                             double& cases) const {
  const double whole = prior * states;
  int64_t sum = 0;
  const double of_state = log_gamma(prior), of_all = log_gamma(whole);
  for (size_t c = 0; c < counts.configurations(); ++c) {
    double total = 0.0;
    for (const double n : counts.configuration(c)) {
      if (n > 0) sum += logarithms_.in_units(log_gamma(n + prior) - of_state);
      total += n;
    }
    if (total > 0) sum -= logarithms_.in_units(log_gamma(total + whole) - of_all);
    cases += total;
  }
  return logarithms_.value(sum);
}

double FamilyScorer::score_of_values(uint32_t node, std::span<const uint32_t> parents) {
  std::vector<uint32_t> discrete, continuous;
  for (const uint32_t parent : parents)
    (columns_.is_discrete(parent) ? discrete : continuous).push_back(parent);
  continuous.push_back(node);
  const std::vector<Moments>& groups = moments_.count(discrete, continuous);
  const double least = kCasesOfCoefficient * static_cast<double>(continuous.size() + 1);
  Moments rest(continuous.size()), all(continuous.size());
  std::vector<double> variances;
  double result = 0.0;
  for (const Moments& group : groups) {
    all.add(group);
    if (group.cases() >= least && group.conditional_variances(variances))
      result += gaussian_log_likelihood(group.cases(), variances.back());
    else
      rest.add(group);
  }
  if (!(all.cases() > 0)) return 0.0;
  if (rest.cases() > 0) {
    const bool is_fitted = (rest.cases() >= least && rest.conditional_variances(variances)) ||
                           all.conditional_variances(variances);
    result += gaussian_log_likelihood(rest.cases(), is_fitted ? variances.back() : 1.0);
  }
  const double deviation = columns_[node].continuous.deviation;
  result -= all.cases() * std::log(deviation > 0 ? deviation : 1.0);
  return result * (columns_.total() / all.cases());
}

const double* ScoreCache::find(uint32_t node, std::span<const uint32_t> parents) {
  set_key(node, parents);
  const auto found = scores_.find(key_);
  return found == scores_.end() ? nullptr : &found->second;
}

void ScoreCache::insert(uint32_t node, std::span<const uint32_t> parents, double score) {
  set_key(node, parents);
  scores_.emplace(key_, score);
}

void ScoreCache::set_key(uint32_t node, std::span<const uint32_t> parents) {
  key_.assign(1, node);
  key_.insert(key_.end(), parents.begin(), parents.end());
}

}  // namespace tv
