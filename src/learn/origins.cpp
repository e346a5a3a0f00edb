// Origins from cases, or from tables where no case tells.
#include "learn/origins.h"

#include <algorithm>
#include <cmath>

#include "network/cases.h"

namespace tv {
namespace {

double mean_of_cases(const Node& node, size_t first, size_t count) noexcept {
  double sum = 0.0, known = 0.0;
  for (size_t row = first; row < first + count; ++row) {
    if (!case_is_set(node, row)) continue;
    sum += node.cases.values[row];
    ++known;
  }
  return sum / known;
}

}  // namespace

Origins::Origins(const std::vector<Family>& families) : families_(families) {
  std::vector<uint32_t> family_of(families.empty() ? 0 : families.front().node->domain->node_count + 1);
  std::vector<Continuous> waiting;
  for (uint32_t f = 0; f < families.size(); ++f) {
    family_of[families[f].node->number] = f;
    if (is_continuous(*families[f].node)) waiting.push_back({f, {}});
  }
  for (Continuous& one : waiting)
    for (size_t i = 0; i < families[one.family].table->continuous_count; ++i)
      one.nodes.push_back(family_of[families[one.family].continuous(i)->number]);
  std::reverse(waiting.begin(), waiting.end());  // the newest node comes first, and parents are mostly older
  std::vector<bool> is_there(families.size());
  while (!waiting.empty()) {
    std::vector<Continuous> later;
    for (Continuous& one : waiting) {
      const bool is_next = std::all_of(one.nodes.begin() + 1, one.nodes.end(),
                                       [&](uint32_t parent) { return is_there[parent]; });
      if (is_next) is_there[one.family] = true;
      (is_next ? continuous_ : later).push_back(std::move(one));
    }
    waiting.swap(later);
  }
}

std::vector<double> Origins::means_of_cases(size_t first, size_t count) const {
  std::vector<double> means(families_.size());
  for (const Continuous& one : continuous_)
    means[one.family] = mean_of_cases(*families_[one.family].node, first, count);
  return means;
}

std::vector<FamilyCounts> Origins::counts_about(std::vector<double> means) const {
  std::vector<FamilyCounts> counts = empty_counts(families_);
  for (const Continuous& one : continuous_) {
    const Table& table = *families_[one.family].table;
    double& mean = means[one.family];
    if (!std::isfinite(mean)) {
      mean = table.cg_data[cg_mean_index(0)];
      for (size_t i = 1; i < one.nodes.size(); ++i)
        mean += table.cg_data[cg_covariance_index(i, 0)] * means[one.nodes[i]];
      if (!std::isfinite(mean)) mean = 0.0;
    }
    for (size_t i = 0; i < counts[one.family].origins.size(); ++i)
      counts[one.family].origins[i] = means[one.nodes[i]];
  }
  return counts;
}

}  // namespace tv
