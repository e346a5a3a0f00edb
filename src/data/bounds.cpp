// Intervals of equal width and of equal frequency.

#include "data/bounds.h"

#include <cmath>

namespace tv {

// Formed of shares of both ends, so that no width overflows. Where numbers are too close for so many bounds,
// there are fewer.
std::vector<double> equal_width_bounds(const std::vector<NumberCount>& numbers, size_t intervals) {
  const double least = numbers.front().number, greatest = numbers.back().number;
  std::vector<double> bounds = {least};
  for (size_t i = 1; i < intervals; ++i) {
    const double share = static_cast<double>(i) / static_cast<double>(intervals);
    const double bound = least * (1 - share) + greatest * share;
    if (bound > bounds.back() && bound < greatest) bounds.push_back(bound);
  }
  bounds.push_back(greatest);
  return bounds;
}

std::vector<double> equal_frequency_bounds(const std::vector<NumberCount>& numbers, size_t intervals) {
  double total = 0;
  for (const NumberCount& number : numbers) total += static_cast<double>(number.count);
  std::vector<double> bounds = {numbers.front().number};
  size_t last = 0;  // of the numbers below the cut
  double below = static_cast<double>(numbers[0].count);
  size_t before = 0;  // the cut before: as many numbers are below it
  for (size_t i = 1; i < intervals; ++i) {
    const double wanted = total * static_cast<double>(i) / static_cast<double>(intervals);
    while (last + 2 < numbers.size()) {
      const double next = below + static_cast<double>(numbers[last + 1].count);
      if (std::fabs(next - wanted) >= std::fabs(below - wanted)) break;
      below = next;
      ++last;
    }
    if (last + 1 == before) continue;  // one number has the rows of several shares
    before = last + 1;
    bounds.push_back(cut_between(numbers[last].number, numbers[last + 1].number));
  }
  bounds.push_back(numbers.back().number);
  return bounds;
}

}  // namespace tv
