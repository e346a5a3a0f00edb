#include "predict/measures.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>

namespace tv {
namespace {

// Of all curves of a node together, but each may have a few and none needs more than so many.
constexpr size_t kAllPoints = size_t{1} << 19, kLeastPoints = 16, kMostPoints = size_t{1} << 16;
constexpr size_t kMostRecent = size_t{1} << 14, kRecentNumbers = size_t{1} << 20;  // whichever comes first

// Answers that are the same but for rounding count as equal: what is left of a probability is compared in
// single precision, counted from the nearer end of its range.
double score_of(double probability) noexcept {
  return probability <= 0.5 ? static_cast<double>(static_cast<float>(probability))
                            : 1.0 - static_cast<double>(static_cast<float>(1.0 - probability));
}

}  // namespace

size_t most_probable(const double* distribution, size_t states) noexcept {
  return static_cast<size_t>(std::max_element(distribution, distribution + states) - distribution);
}

void RocCurve::add(double score, double positives, double negatives) {
  points_.push_back({score, positives, negatives});
  if (points_.size() >= 2 * most_points_ + tidy_up_to_) tidy();
}

// Sorted, equal scores together. Where they are too many, every second one joins its neighbour, as if they
// were equal: that moves the area by no more than a share of a point.
void RocCurve::tidy() {
  std::stable_sort(points_.begin(), points_.end(),
                   [](const Point& a, const Point& b) { return a.score < b.score; });
  const auto join = [&](auto belongs_to_last) {
    size_t count = 0;
    for (size_t i = 0; i < points_.size(); ++i) {
      if (i > 0 && belongs_to_last(i, points_[count - 1])) {
        points_[count - 1].positives += points_[i].positives;
        points_[count - 1].negatives += points_[i].negatives;
      } else {
        points_[count++] = points_[i];
      }
    }
    points_.resize(count);
  };
  join([&](size_t i, const Point& last) { return points_[i].score == last.score; });
  if (points_.size() > most_points_) join([](size_t i, const Point&) { return i % 2 == 1; });
  tidy_up_to_ = points_.size();
}

double RocCurve::area() {
  tidy();
  double positives = 0.0, negatives = 0.0, area = 0.0;
  for (const Point& point : points_) {
    area += point.positives * (negatives + 0.5 * point.negatives);
    positives += point.positives;
    negatives += point.negatives;
  }
  return positives > 0.0 && negatives > 0.0 ? area / (positives * negatives)
                                            : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace tv

tv_measures_s::tv_measures_s(size_t numbers, bool discrete) : is_discrete(discrete), size(numbers) {
  if (!is_discrete) return;
  curves.assign(size, tv::RocCurve(std::clamp(tv::kAllPoints / size, tv::kLeastPoints, tv::kMostPoints)));
}

void tv_measures_s::add(const double* answer, double truth, double count) {
  if (std::isnan(truth)) return;
  if (!answer) {
    impossible += count;
  } else if (is_discrete) {
    add_distribution(answer, static_cast<size_t>(truth), count);
  } else {
    add_density(answer[0], answer[1], truth, count);
  }
}

void tv_measures_s::add_distribution(const double* distribution, size_t truth, double count) {
  weight += count;
  const size_t predicted = tv::most_probable(distribution, size);
  confusion[truth * size + predicted] += count;
  if (predicted == truth) correct += count;
  log_loss -= count * std::log(distribution[truth]);
  double sum = 0.0;
  for (size_t s = 0; s < size; ++s) {
    const double difference = distribution[s] - (s == truth ? 1.0 : 0.0);
    sum += difference * difference;
  }
  squares += count * sum;
  add_to_recent(distribution, truth, count);
}

void tv_measures_s::add_density(double mean, double variance, double truth, double count) {
  weight += count;
  const double difference = truth - mean;
  squares += count * difference * difference;
  absolutes += count * std::abs(difference);
  if (variance > 0.0)
    log_loss +=
        count * 0.5 * (std::log(2.0 * std::numbers::pi * variance) + difference * difference / variance);
  else if (difference != 0.0)
    log_loss = HUGE_VAL;
}

void tv_measures_s::add_to_recent(const double* distribution, size_t truth, double count) {
  if (slots_.empty()) slots_.assign(2 * tv::kMostRecent, 0);
  uint64_t hash = 0;
  for (size_t s = 0; s < size; ++s) {
    uint64_t bits;
    std::memcpy(&bits, distribution + s, sizeof bits);
    hash = (hash ^ bits) * 0x9e3779b97f4a7c15, hash ^= hash >> 29;
  }
  size_t slot = hash & (slots_.size() - 1);
  for (; slots_[slot] != 0; slot = (slot + 1) & (slots_.size() - 1)) {
    double* const known = recent_.data() + (slots_[slot] - 1) * 2 * size;
    if (!std::equal(distribution, distribution + size, known)) continue;
    known[size + truth] += count;
    return;
  }
  recent_.insert(recent_.end(), distribution, distribution + size);
  recent_.resize(recent_.size() + size);
  recent_[recent_.size() - size + truth] = count;
  slots_[slot] = static_cast<uint32_t>(recent_.size() / (2 * size));
  if (slots_[slot] == tv::kMostRecent || recent_.size() >= tv::kRecentNumbers) end_recent();
}

void tv_measures_s::end_recent() {
  for (size_t first = 0; first < recent_.size(); first += 2 * size) {
    const double *const distribution = recent_.data() + first, *const counts = distribution + size;
    double all = 0.0;
    for (size_t s = 0; s < size; ++s) all += counts[s];
    for (size_t s = 0; s < size; ++s)
      curves[s].add(tv::score_of(distribution[s]), counts[s], all - counts[s]);
  }
  recent_.clear();
  std::fill(slots_.begin(), slots_.end(), 0);
}

double tv_measures_s::area(size_t state) {
  end_recent();
  return curves[state].area();
}
