#include "analysis/observations/what_it_tells.h"

#include <algorithm>
#include <cmath>

namespace tv {
namespace {

constexpr double kRounding = 1e-12;  // what beliefs in single precision leave of nothing

double without_rounding(double number) noexcept { return number > kRounding ? number : 0; }

}  // namespace

double entropy_of(const Distribution& distribution) noexcept {
  double sum = 0;
  for (const double p : distribution)
    if (p > 0) sum -= p * std::log(p);
  return std::max(sum, 0.0);
}

double error_of(const Distribution& distribution) noexcept {
  const auto most = std::max_element(distribution.begin(), distribution.end());
  double sum = 0;
  for (auto p = distribution.begin(); p != distribution.end(); ++p)
    if (p != most) sum += *p;
  return sum;
}

TellingSum::TellingSum(const Distribution& target) noexcept : target_(target) {}

Telling TellingSum::of_outcome(const double* parts) const noexcept {
  Telling telling;
  double sum = 0;
  for (size_t t = 0; t < target_.size(); ++t) {
    sum += parts[t];
    telling.error_reduction = std::max(telling.error_reduction, parts[t]);
  }
  for (size_t t = 0; t < target_.size(); ++t)
    if (parts[t] > 0) telling.information += parts[t] * std::log(parts[t] / sum / target_[t]);
  return telling;
}

void TellingSum::add(const Telling& telling) noexcept {
  sum_.information += telling.information;
  sum_.error_reduction += telling.error_reduction;
}

Telling TellingSum::result() const noexcept {
  const double most = *std::max_element(target_.begin(), target_.end());
  return {without_rounding(sum_.information), without_rounding(sum_.error_reduction - most)};
}

Telling what_it_tells(const Distribution& target, const std::vector<const double*>& given, size_t states) {
  TellingSum sum(target);
  Distribution parts(target.size(), 0);
  for (size_t s = 0; s < states; ++s) {
    for (size_t t = 0; t < target.size(); ++t)
      if (target[t] > 0) parts[t] = target[t] * given[t][s];
    sum.add(sum.of_outcome(parts.data()));
  }
  return sum.result();
}

}  // namespace tv
