#include "learn/case_splitter.h"

#include <algorithm>

#include "network/cases.h"
#include "network/domain.h"

namespace tv {
namespace {

constexpr size_t kRowsTogether = 256;  // are split while they are in the nearest cache

}  // namespace

CaseSplitter::CaseSplitter(const std::vector<Family>& families, const std::vector<const int16_t*>& columns)
    : columns_(columns),
      finder_(families),
      problems_(finder_),
      rows_(families.size()),
      ignored_((families.size() + 63) / 64),
      left_(ignored_) {}

void CaseSplitter::split(const Domain& domain, size_t first, size_t count) {
  for (size_t begin = first; begin < first + count; begin += kRowsTogether) {
    const size_t rows = std::min(kRowsTogether, first + count - begin);
    read_rows(begin, rows);
    for (size_t i = 0; i < rows; ++i) {
      const double weight = static_cast<double>(case_count(domain, begin + i));
      if (weight > 0.0 && !split_case(rows_.states(i), rows_.missing(i), weight))
        wide_.push_back(static_cast<uint32_t>(begin + i));
    }
  }
}

void CaseSplitter::read_rows(size_t first, size_t count) {
  rows_.reset(count);
  for (size_t c = 0; c < columns_.size(); ++c) {
    if (!columns_[c]) continue;
    for (size_t i = 0; i < count; ++i)
      if (const int16_t state = columns_[c][first + i]; state != kMissingCase) rows_.set(i, c, state);
  }
}

// Whether all its groups are small enough.
bool CaseSplitter::split_case(const int16_t* states, const uint64_t* missing, double count) {
  numbers_.clear();
  std::copy_n(missing, left_.size(), left_.begin());
  for (size_t w = 0; w < left_.size(); ++w)
    while (left_[w] != 0) {
      const auto node = static_cast<uint32_t>(64 * w + static_cast<size_t>(std::countr_zero(left_[w])));
      numbers_.push_back(finder_.find(node, missing, ignored_.data()));
      if (numbers_.back() == GroupFinder::kWide || finder_.group(numbers_.back()).is_wide) return false;
      for (size_t i = 0; i < left_.size(); ++i) left_[i] &= ~finder_.found()[i];
    }
  for (const uint32_t group : numbers_) {
    const size_t problem = problems_.find(group, states);
    if (problem == weights_.size()) weights_.push_back(0.0);
    weights_[problem] += count;
  }
  return true;
}

void CaseSplitter::move_to(GroupFinder& finder, GroupProblems& problems, std::vector<double>& weights) {
  const std::vector<uint32_t> numbers = finder.absorb(finder_);
  for (size_t p = 0; p < problems_.size(); ++p) {
    const size_t problem = problems.find(numbers[problems_.group(p)], problems_, p);
    if (problem == weights.size()) weights.push_back(0.0);
    weights[problem] += weights_[p];
  }
}

}  // namespace tv
