// How good the predictions of one node are: what is added up over rows whose truth is known.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "tarvo.h"

namespace tv {

// How well a number tells rows that are of a kind from those that are not: the area under the curve of true
// over false positives, which is how often the former have the greater number (Hanley and McNeil 1982).
class RocCurve {
 public:
  // Beyond so many scores neighbours count as equal.
  explicit RocCurve(size_t most_points = size_t{1} << 16) noexcept : most_points_(most_points) {}

  void add(double score, double positives, double negatives);
  // NaN where there are no rows of either kind.
  double area();

 private:
  struct Point {
    double score, positives, negatives;
  };

  void tidy();

  size_t most_points_;
  std::vector<Point> points_;
  size_t tidy_up_to_ = 0;  // points that are sorted and distinct
};

}  // namespace tv

struct tv_measures_s {
  tv_measures_s(size_t size, bool is_discrete);

  // `answer`: a distribution, or mean and variance; null where the row is impossible. Of an unknown truth,
  // which is NaN, nothing is added.
  void add(const double* answer, double truth, double weight);

  bool is_discrete;
  size_t size;  // numbers of an answer
  double weight = 0.0, impossible = 0.0, correct = 0.0, log_loss = 0.0, squares = 0.0, absolutes = 0.0;
  std::unordered_map<size_t, double> confusion;  // by true state times `size` plus the predicted one
  std::vector<tv::RocCurve> curves;              // by state; they lack what is in `recent`

  double area(size_t state);

 private:
  void add_distribution(const double* distribution, size_t truth, double weight);
  void add_density(double mean, double variance, double truth, double weight);
  void add_to_recent(const double* distribution, size_t truth, double weight);
  void end_recent();

  // Distributions that came last, each with weights by true state: many rows have the same.
  std::vector<double> recent_;   // of each the distribution, then the weights
  std::vector<uint32_t> slots_;  // a hash table of them, from 1 on
};

namespace tv {

// The most probable state; of several the first.
size_t most_probable(const double* distribution, size_t states) noexcept;

}  // namespace tv
