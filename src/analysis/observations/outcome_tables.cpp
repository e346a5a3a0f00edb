#include "analysis/observations/outcome_tables.h"

#include <cmath>

#include "api/status.h"
#include "inference/gaussian/cg_answers.h"

namespace tv {
namespace {

NormalMixture mixture_of(const Table& table) {
  double total = 0;
  for (size_t i = 0; i < table.size; ++i) total += static_cast<double>(table.data[i]);
  NormalMixture mixture;
  for (size_t i = 0; i < table.size; ++i) {
    const double* const block = table.cg_data.data() + i * table.cg_size;
    mixture.push_back({static_cast<double>(table.data[i]) / total, block[cg_mean_index(0)],
                       std::sqrt(block[cg_covariance_index(0, 0)])});
  }
  merge_equal_parts(mixture);
  return mixture;
}

}  // namespace

OutcomeTables::OutcomeTables(Distribution target, const std::vector<Candidate>& candidates)
    : target_(std::move(target)), candidates_(candidates), numbers_(target_.size()) {
  size_t size = 0;
  for (const Candidate& candidate : candidates) {
    offset_.push_back(size);
    if (is_discrete(*candidate.node)) size += candidate.node->number_of_states;
    mixtures_.emplace_back(is_continuous(*candidate.node) ? target_.size() : 0);
  }
  for (size_t t = 0; t < target_.size(); ++t)
    if (target_[t] > 0) numbers_[t].resize(size);
}

tv_status_t OutcomeTables::fill(EvidenceQuery& query, Node& node) {
  for (size_t t = 0; t < target_.size(); ++t) {
    if (!(target_[t] > 0)) continue;
    query.suppose(node, t);
    if (tv_status_t status = query.propagate()) return status;
    if (tv_status_t status = read(query, t)) return status;
  }
  query.drop_supposition(node);
  return tv_status_none;
}

tv_status_t OutcomeTables::read(EvidenceQuery& query, size_t t) {
  for (size_t c = 0; c < candidates_.size(); ++c) {
    const Node& node = *candidates_[c].node;
    if (is_discrete(node)) {
      const Distribution distribution = query.distribution(node);
      std::copy(distribution.begin(), distribution.end(),
                numbers_[t].begin() + static_cast<ptrdiff_t>(offset_[c]));
    } else {
      const std::unique_ptr<Table> table = cg_distribution(query.state(), node);
      if (!table) return current_status();
      mixtures_[c][t] = mixture_of(*table);
    }
  }
  return tv_status_none;
}

std::vector<const double*> OutcomeTables::rows(size_t candidate) const {
  std::vector<const double*> rows;
  for (const std::vector<double>& numbers : numbers_) rows.push_back(numbers.data() + offset_[candidate]);
  return rows;
}

Telling OutcomeTables::telling(size_t candidate) const {
  const Node& node = *candidates_[candidate].node;
  return is_discrete(node) ? what_it_tells(target_, rows(candidate), node.number_of_states)
                           : what_it_tells(target_, mixtures_[candidate]);
}

Distribution OutcomeTables::with_outcome(size_t candidate, size_t state) const {
  Distribution result(target_.size(), 0);
  for (size_t t = 0; t < result.size(); ++t)
    if (target_[t] > 0) result[t] = target_[t] * numbers_[t][offset_[candidate] + state];
  return result;
}

Distribution OutcomeTables::distribution(size_t candidate) const {
  Distribution result;
  for (size_t s = 0; s < candidates_[candidate].node->number_of_states; ++s) {
    double sum = 0;
    for (const double p : with_outcome(candidate, s)) sum += p;
    result.push_back(sum);
  }
  return result;
}

}  // namespace tv
