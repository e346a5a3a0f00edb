// Exchanges of regressions and updates of factors, on contiguous runs.

#include "tables/cg_block.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace tv {
namespace {

// A difference whose terms cancel to within their own rounding errors counts as zero: in a network with
// certain relations the remainder would otherwise pass for an exact dependence.
constexpr double kCancelled = 16 * std::numeric_limits<double>::epsilon();

double sum_or_zero(double a, double b) noexcept {
  const double sum = a + b;
  return std::fabs(sum) <= kCancelled * std::fabs(a) ? 0.0 : sum;
}

void add_density(CgDensity& density, double difference, double variance) noexcept {
  if (variance == 0.0) {
    density.vanishing_variance = true;
    return;
  }
  const double logarithm =
      -0.5 * (std::log(2 * std::numbers::pi) + std::log(variance) + difference / variance * difference);
  static const double lowest = std::log(std::numeric_limits<double>::min());
  if (!(logarithm >= lowest && std::isfinite(logarithm))) density.low = true;
  density.logarithm += logarithm;
}

// A node without a regression gets the form solved for it.
void solve_form(double* run, size_t node, const CgForm& form, CgDensity& density) noexcept {
  const double pivot = form.coefficients[node];
  run[0] = form.constant / pivot;
  for (size_t k = 0; k < node; ++k) run[1 + k] = -form.coefficients[k] / pivot;
  run[1 + node] = form.variance / pivot / pivot;
  if (std::fabs(pivot) != 1.0) density.logarithm -= std::log(std::fabs(pivot));
}

}  // namespace

void clear_regressions(double* block, size_t count) noexcept {
  std::fill_n(block, cg_size_for(count), 0.0);
  for (size_t i = 0; i < count; ++i) block[cg_covariance_index(i, i)] = kNoRegression;
}

void combine_form(double* block, size_t count, CgForm form, CgDensity& density) noexcept {
  for (size_t node = count; node-- > 0;) {
    const double b = form.coefficients[node];
    if (b == 0.0) continue;
    double* run = cg_run(block, node);
    const double variance = run[1 + node];
    if (variance < 0.0) return solve_form(run, node, form, density);
    const double joint = form.variance + b * b * variance;
    // The share of the node's own regression that remains, and its gain from the form; a certain node does
    // not change.
    const double share = joint > 0.0 ? form.variance / joint : 1.0;
    const double gain = joint > 0.0 ? b * variance / joint : 0.0;
    for (size_t k = 0; k < node; ++k) {
      const double own = run[1 + k], other = form.coefficients[k];
      run[1 + k] = sum_or_zero(share * own, -gain * other);
      form.coefficients[k] = sum_or_zero(other, b * own);
    }
    const double intercept = run[0];
    run[0] = share * intercept + gain * form.constant;
    form.constant -= b * intercept;
    run[1 + node] = variance * share;
    form.variance = joint;
  }
  add_density(density, form.constant, form.variance);
}

void reverse_regressions(double* x, double* y, double& coefficient, size_t tails) noexcept {
  const double b = coefficient, x_variance = x[1 + tails], y_variance = y[1 + tails];
  const double joint = y_variance + b * b * x_variance;
  const double share = joint > 0.0 ? y_variance / joint : 1.0;
  coefficient = joint > 0.0 ? b * x_variance / joint : 0.0;
  for (size_t k = 0; k <= tails; ++k) {
    const double own = x[k], other = y[k];
    x[k] = share * own - coefficient * other;
    y[k] = other + b * own;
  }
  x[1 + tails] = x_variance * share;
  y[1 + tails] = joint;
}

void expand_regressions(const double* regressions, size_t first, size_t count, double* factors) noexcept {
  for (size_t node = first; node < count; ++node) {
    const double* from = cg_run(regressions, node);
    double* run = cg_run(factors, node);
    std::copy_n(from, node + 2, run);
    for (size_t k = node; k-- > 0;) {
      const double coefficient = from[1 + k];
      if (coefficient == 0.0) continue;
      const double* before = cg_run(factors, k);
      run[0] += coefficient * before[0];
      for (size_t j = 0; j < k; ++j) run[1 + j] += coefficient * before[1 + j];
    }
  }
}

void add_innovation(double* factors, size_t count, double* loadings, double variance) noexcept {
  for (size_t node = 0; node < count; ++node) {
    const double loading = loadings[node];
    if (loading == 0.0) continue;
    double& own = factors[cg_covariance_index(node, node)];
    const double joint = own + variance * loading * loading;
    if (!(joint > 0.0)) continue;
    // The old loadings of the later nodes may be as large as their innovation is small: they are averaged
    // with the new ones, weighted by variance, rather than corrected by a difference.
    const double gain = variance * loading / joint, share = own / joint;
    variance *= share;
    own = joint;
    for (size_t later = node + 1; later < count; ++later) {
      double& shared = cg_run(factors, later)[1 + node];
      const double before = shared, added = loadings[later];
      shared = share * before + gain * added;
      loadings[later] = sum_or_zero(added, -loading * before);
    }
  }
}

double factor_covariance(const double* factors, size_t i, size_t j) noexcept {
  if (i < j) std::swap(i, j);
  const double *a = cg_run(factors, i), *b = cg_run(factors, j);
  double sum = 0.0;
  for (size_t k = 0; k < j; ++k) sum += a[1 + k] * b[1 + k] * factors[cg_covariance_index(k, k)];
  return sum + (i == j ? 1.0 : a[1 + j]) * b[1 + j];
}

}  // namespace tv
