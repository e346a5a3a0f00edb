// Exact k-means in one dimension by dynamic programming over the sorted numbers (Wang & Song 2011). The best
// last part of a longer list never begins before that of a shorter one, so that the beginning for the middle
// of a range bounds those for its halves: O(n log n) for each part.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

#include "api/memory.h"
#include "data/bounds.h"

namespace tv {
namespace {

// Sums of squares of numbers that lie far apart leave nothing of the differences within a part, unless they
// have digits for both.
#if defined(__SIZEOF_FLOAT128__)
using Wide = __float128;
#else
using Wide = long double;
#endif

class KMeans {
 public:
  KMeans(const std::vector<NumberCount>& numbers, size_t parts);
  std::vector<double> bounds();

 private:
  double cost(size_t first, size_t end) const noexcept;
  double wide_cost(size_t first, size_t end) const noexcept;
  void add_part();
  void fill(size_t first, size_t end, size_t lowest, size_t highest) noexcept;

  const std::vector<NumberCount>& numbers_;
  size_t parts_;
  // Of the numbers before each one, less the mean of all and scaled: rows, sums and sums of squares.
  std::vector<Wide> wide_sums_, wide_squares_;
  std::vector<double> counts_, sums_, squares_;  // rounded, for most comparisons
  std::vector<double> costs_, shorter_;          // the least cost of the first so many numbers
  std::vector<std::vector<uint32_t>> begins_;    // for each part but the first, where it begins then
};

KMeans::KMeans(const std::vector<NumberCount>& numbers, size_t parts) : numbers_(numbers), parts_(parts) {
  const size_t n = numbers.size();
  double total = 0, mean = 0;
  for (const NumberCount& number : numbers) total += static_cast<double>(number.count);
  for (const NumberCount& number : numbers)
    mean += number.number * (static_cast<double>(number.count) / total);
  counts_.resize(n + 1);
  sums_.resize(n + 1);
  squares_.resize(n + 1);
  wide_sums_.resize(n + 1);
  wide_squares_.resize(n + 1);
  const Wide scale = std::max(std::fabs(numbers.front().number), std::fabs(numbers.back().number));
  for (size_t i = 0; i < n; ++i) {
    const Wide count = static_cast<Wide>(numbers[i].count);
    const Wide difference = (static_cast<Wide>(numbers[i].number) - mean) / scale;
    counts_[i + 1] = counts_[i] + static_cast<double>(numbers[i].count);
    wide_sums_[i + 1] = wide_sums_[i] + count * difference;
    wide_squares_[i + 1] = wide_squares_[i] + count * difference * difference;
    sums_[i + 1] = static_cast<double>(wide_sums_[i + 1]);
    squares_[i + 1] = static_cast<double>(wide_squares_[i + 1]);
  }
}

// Of one part. What is left of the sums must be large enough beside them.
double KMeans::cost(size_t first, size_t end) const noexcept {
  constexpr double kEnough = 1e-6;
  const double sum = sums_[end] - sums_[first];
  const double square = squares_[end] - squares_[first] - sum * sum / (counts_[end] - counts_[first]);
  return square > kEnough * squares_[end] ? square : wide_cost(first, end);
}

double KMeans::wide_cost(size_t first, size_t end) const noexcept {
  const Wide sum = wide_sums_[end] - wide_sums_[first],
             count = static_cast<Wide>(counts_[end] - counts_[first]);
  return std::max(static_cast<double>(wide_squares_[end] - wide_squares_[first] - sum * sum / count), 0.0);
}

// The least costs for lists of `first` to `end` numbers, whose last part begins from `lowest` to `highest`.
void KMeans::fill(size_t first, size_t end, size_t lowest, size_t highest) noexcept {
  while (first < end) {
    const size_t middle = first + (end - first) / 2;
    double best = HUGE_VAL;
    size_t begin = lowest;
    for (size_t i = lowest; i <= std::min(highest, middle - 1); ++i) {
      const double candidate = shorter_[i] + cost(i, middle);
      if (candidate < best) {
        best = candidate;
        begin = i;
      }
    }
    costs_[middle] = best;
    begins_.back()[middle] = static_cast<uint32_t>(begin);
    fill(first, middle, lowest, begin);
    first = middle + 1;
    lowest = begin;
  }
}

void KMeans::add_part() {
  const size_t n = numbers_.size(), fewest = begins_.size() + 1;  // numbers in the parts before
  begins_.emplace_back(n + 1);
  shorter_.swap(costs_);
  fill(fewest + 1, n + 1, fewest, n - 1);
}

std::vector<double> KMeans::bounds() {
  const size_t n = numbers_.size();
  costs_.resize(n + 1);
  shorter_.resize(n + 1);
  for (size_t end = 1; end <= n; ++end) costs_[end] = cost(0, end);
  for (size_t part = 1; part < parts_; ++part) add_part();
  std::vector<double> bounds = {numbers_.back().number};
  size_t end = n;
  for (size_t part = begins_.size(); part-- > 0;) {
    end = begins_[part][end];
    bounds.push_back(cut_between(numbers_[end - 1].number, numbers_[end].number));
  }
  bounds.push_back(numbers_.front().number);
  std::reverse(bounds.begin(), bounds.end());
  return bounds;
}

// Each number for itself.
std::vector<double> all_parts(const std::vector<NumberCount>& numbers) {
  std::vector<double> bounds = {numbers.front().number};
  for (size_t i = 1; i < numbers.size(); ++i)
    bounds.push_back(cut_between(numbers[i - 1].number, numbers[i].number));
  bounds.push_back(numbers.back().number);
  return bounds;
}

}  // namespace

std::vector<double> k_means_bounds(const std::vector<NumberCount>& numbers, size_t intervals) {
  constexpr size_t kMostBegins = size_t{1} << 30;  // four gigabytes of them
  if (intervals >= numbers.size()) return all_parts(numbers);
  if (size_multiply(intervals, numbers.size()) > kMostBegins) throw std::bad_alloc();
  return KMeans(numbers, intervals).bounds();
}

}  // namespace tv
