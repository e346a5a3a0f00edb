// Ways to part the numbers of a column into intervals. A result is an increasing list of bounds, one more
// than there are intervals: the least number, the cuts, the greatest number. An interval holds its lower
// bound, and the last one its upper bound, too; so a cut between two numbers lies above the lower and not
// above the upper one.
#pragma once

#include <utility>
#include <vector>

#include "data/code_list.h"

namespace tv {

// A number and how many rows have it.
struct NumberCount {
  double number;
  size_t count;
};

// All take numbers in increasing order, at least two, and give at most `intervals` intervals, at least 1.

std::vector<double> equal_width_bounds(const std::vector<NumberCount>& numbers, size_t intervals);

// Cuts where the number of rows below comes closest to its share.
std::vector<double> equal_frequency_bounds(const std::vector<NumberCount>& numbers, size_t intervals);

// The parts with the least sum of squared differences between each number and the mean of its part.
std::vector<double> k_means_bounds(const std::vector<NumberCount>& numbers, size_t intervals);

// How many rows have a number, by its index, together with a class.
struct ClassCount {
  size_t number;
  Code class_code;
  size_t count;
};

// As many intervals as pay for their description by what they tell of the class (Fayyad & Irani 1993).
// `counts` are ordered by number; numbers of rows without a class have none.
std::vector<double> class_bounds(const std::vector<NumberCount>& numbers,
                                 const std::vector<ClassCount>& counts, Code most_classes);

// Where to part two neighbours: halfway, where that is a number between them.
inline double cut_between(double lower, double upper) noexcept {
  const double middle = lower / 2 + upper / 2;
  return middle > lower && middle <= upper ? middle : upper;
}

}  // namespace tv
