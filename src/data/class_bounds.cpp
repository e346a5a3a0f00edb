// Intervals that tell of a class: a range is cut where the entropy of the class given the side becomes least,
// as long as the gain is more than the cut and the distributions of both sides cost to describe
// (Fayyad & Irani 1993).

#include <algorithm>
#include <cmath>

#include "data/bounds.h"

namespace tv {
namespace {

// Of cuts that are as good, the first one counts, whatever rounding says.
constexpr double kClearlyLess = 1 - 1e-12;

double x_log_x(size_t x) noexcept {
  const double number = static_cast<double>(x);
  return x > 1 ? number * std::log2(number) : 0;
}

// Of the rows of a range: how many there are of each class.
class Classes {
 public:
  explicit Classes(Code most_classes) : counts_(most_classes + size_t{1}) {}

  void add(const ClassCount& more) noexcept {
    change(more.class_code, counts_[more.class_code] + more.count);
  }
  void remove(const ClassCount& less) noexcept {
    change(less.class_code, counts_[less.class_code] - less.count);
  }

  size_t rows() const noexcept { return rows_; }
  double classes() const noexcept { return static_cast<double>(classes_); }
  // The entropy of the class times the number of rows, in bits.
  double bits() const noexcept { return x_log_x(rows_) - sum_; }

 private:
  void change(Code code, size_t count) noexcept {
    size_t& old = counts_[code];
    sum_ += x_log_x(count) - x_log_x(old);
    classes_ += size_t{count > 0} - size_t{old > 0};
    rows_ += count - old;
    old = count;
    if (classes_ <= 1) sum_ = x_log_x(rows_);  // exactly, whatever was rounded on the way
  }

  std::vector<size_t> counts_;
  size_t rows_ = 0, classes_ = 0;
  double sum_ = 0;
};

struct Range {
  size_t first, end;  // of the counts
};

class ClassCuts {
 public:
  ClassCuts(const std::vector<ClassCount>& counts, Code most_classes)
      : counts_(counts), lower_(most_classes), upper_(most_classes) {}

  // The counts, by index, that begin a new interval.
  std::vector<size_t> find() {
    std::vector<size_t> cuts;
    std::vector<Range> open = {{0, counts_.size()}};
    while (!open.empty()) {
      const Range range = open.back();
      open.pop_back();
      const size_t cut = best_cut(range);
      if (cut == range.first) continue;
      cuts.push_back(cut);
      open.push_back({range.first, cut});
      open.push_back({cut, range.end});
    }
    std::sort(cuts.begin(), cuts.end());
    return cuts;
  }

 private:
  // Both sides are left empty, as they were.
  size_t best_cut(Range range) noexcept {
    for (size_t i = range.first; i < range.end; ++i) upper_.add(counts_[i]);
    const double whole = upper_.bits(), classes = upper_.classes();
    const double rows = static_cast<double>(upper_.rows());
    size_t best = range.first;
    double least = HUGE_VAL, cost = 0;
    for (size_t i = range.first; i < range.end; ++i) {
      if (i > range.first && counts_[i].number != counts_[i - 1].number) {
        const double lower_bits = lower_.bits(), upper_bits = upper_.bits();
        if (lower_bits + upper_bits < least * kClearlyLess) {
          least = lower_bits + upper_bits;
          best = i;
          const double change = classes * whole / rows - entropies(lower_) - entropies(upper_);
          cost = std::log2(rows - 1) + log2_of_subsets(classes) - change;
        }
      }
      lower_.add(counts_[i]);
      upper_.remove(counts_[i]);
    }
    for (size_t i = range.first; i < range.end; ++i) lower_.remove(counts_[i]);
    return classes > 1 && whole - least > cost ? best : range.first;
  }

  // The entropy of a side, once for each of its classes.
  static double entropies(const Classes& side) noexcept {
    return side.classes() * side.bits() / static_cast<double>(side.rows());
  }

  // log2 (3^k - 2)
  static double log2_of_subsets(double classes) noexcept {
    return classes * std::log2(3) + std::log2(1 - 2 * std::pow(3, -classes));
  }

  const std::vector<ClassCount>& counts_;
  Classes lower_, upper_;
};

}  // namespace

std::vector<double> class_bounds(const std::vector<NumberCount>& numbers,
                                 const std::vector<ClassCount>& counts, Code most_classes) {
  std::vector<double> bounds = {numbers.front().number};
  for (const size_t cut : ClassCuts(counts, most_classes).find())
    bounds.push_back(cut_between(numbers[counts[cut - 1].number].number, numbers[counts[cut].number].number));
  bounds.push_back(numbers.back().number);
  return bounds;
}

}  // namespace tv
