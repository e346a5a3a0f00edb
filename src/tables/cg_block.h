// The algebra of conditional-Gaussian blocks, for one configuration of the discrete nodes at a time.
//
// Every density is represented by regressions of one node on others, whose terms are added one by one, as in
// the scheme of Cowell (Local propagation in conditional Gaussian Bayesian networks, 2005). Lauritzen and
// Jensen (2001) use vectors of heads with covariance matrices between them; their complement subtracts and
// needs generalised inverses where variances vanish. An exchange between single regressions only multiplies
// and divides variances, so that none can become negative and zero needs no special care beyond "what is
// certain does not change". Where a joint distribution has to be mixed with others it is represented by
// loadings on independent innovations (the UD factors of Bierman 1977, updated as by Gill, Golub, Murray and
// Saunders 1974), for the same reason.
//
// Both kinds of block have the layout of a table's CG block: the run of node i is one number, then i numbers
// for the nodes before it, then its variance.
#pragma once

#include <cstddef>

#include "tables/table.h"

namespace tv {

// ---- Regressions: node i = intercept + sum of coefficients times the nodes before it + error ----

// In the variance slot: the node has no regression on those before it.
inline constexpr double kNoRegression = -1.0;

inline double* cg_run(double* block, size_t i) noexcept { return block + cg_mean_index(i); }
inline const double* cg_run(const double* block, size_t i) noexcept { return block + cg_mean_index(i); }

// A linear form: sum of coefficients times nodes = constant + error of the given variance.
struct CgForm {
  double* coefficients;  // one per node of the block
  double constant;
  double variance;
};

// The density of observations, which is all that is left of a form without nodes.
struct CgDensity {
  double logarithm = 0.0;
  bool vanishing_variance = false;  // one was certain beforehand: it has no density
  bool low = false;                 // the density of one is no normal number
};

void clear_regressions(double* block, size_t count) noexcept;

// Multiplies a form into the regressions of a block of which it contains only the first `count` nodes: each
// in turn, the last first, is eliminated from the form and its regression is updated. The form is used up.
void combine_form(double* block, size_t count, CgForm form, CgDensity& density) noexcept;

// Arc reversal: runs of X and of Y over the same `tails` nodes, and the coefficient of X in Y's regression.
// Afterwards Y's run is that of Y given the tails, X's that of X given the tails and Y, and `coefficient` is
// that of Y in X's regression. The joint density stays what it was.
void reverse_regressions(double* x, double* y, double& coefficient, size_t tails) noexcept;

// ---- Factors: node i = mean + sum of loadings times the innovations before its own + its innovation ----

// Completes a block of factors by the regressions of nodes `first` to `count` - 1.
void expand_regressions(const double* regressions, size_t first, size_t count, double* factors) noexcept;

// Adds an independent disturbance of the given variance with a loading for each node; the loadings are used
// up.
void add_innovation(double* factors, size_t count, double* loadings, double variance) noexcept;

double factor_covariance(const double* factors, size_t i, size_t j) noexcept;

// Means and variances of a mixture, to which components are added one by one.
class MixtureMoments {
 public:
  void add(double weight, double mean, double variance) noexcept {
    const double total = weight_ + weight, difference = mean - mean_;
    mean_ += difference * (weight / total);
    scatter_ += weight * variance + weight_ * (weight / total) * difference * difference;
    weight_ = total;
  }
  double mean() const noexcept { return mean_; }
  double variance() const noexcept { return weight_ > 0 ? scatter_ / weight_ : 0.0; }
  double weight() const noexcept { return weight_; }

 private:
  double weight_ = 0.0, mean_ = 0.0, scatter_ = 0.0;
};

}  // namespace tv
