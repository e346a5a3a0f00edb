// Maximisation: relative frequencies, and regressions from moments.
#include "learn/m_step.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tv {
namespace {

// A variance rests on more than so many cases, or on those of all configurations together.
constexpr double kFewCases = 5.0;

// A parent that the others determine up to such a part of its moment is left out of the regression.
constexpr double kLeastPivot = 1e-12;

void maximize_discrete(const Family& family, const FamilyCounts& counts) {
  const size_t states = family.node->number_of_states;
  tv_number_t* const data = family.table->data.data();
  for (size_t c = 0; c * states < family.size(); ++c) {
    if (!family.learns(c)) continue;
    const double* const numbers = counts.numbers.data() + c * states;
    const double sum = std::accumulate(numbers, numbers + states, 0.0);
    if (!(sum > 0.0)) continue;
    for (size_t s = 0; s < states; ++s) data[c * states + s] = static_cast<tv_number_t>(numbers[s] / sum);
  }
}

// The regression of one configuration by the sweep operator (Beaton 1964; Goodnight 1979), on the moments of
// (1, node, parents).
class Regression {
 public:
  Regression(size_t continuous, const double* moments, double number)
      : size_(continuous + 1), matrix_(size_ * size_), is_swept_(size_, false) {
    for (size_t i = 0; i < size_; ++i)
      for (size_t j = 0; j <= i; ++j) at(i, j) = at(j, i) = *moments++ / number;
    std::vector<double> scale(size_);
    for (size_t i = 0; i < size_; ++i) scale[i] = at(i, i);
    for (size_t i = 0; i < size_; ++i)
      if (i != kNode && at(i, i) > kLeastPivot * scale[i]) sweep(i);
  }

  double residual_variance() const noexcept { return std::max(0.0, matrix_[kNode * size_ + kNode]); }
  // Of the constant, 0, and of the parents, from 2 on.
  double coefficient(size_t i) const noexcept { return is_swept_[i] ? matrix_[i * size_ + kNode] : 0.0; }

 private:
  static constexpr size_t kNode = 1;

  double& at(size_t i, size_t j) noexcept { return matrix_[i * size_ + j]; }

  void sweep(size_t k) {
    is_swept_[k] = true;
    const double pivot = at(k, k);
    for (size_t j = 0; j < size_; ++j) at(k, j) /= pivot;
    for (size_t i = 0; i < size_; ++i) {
      if (i == k) continue;
      const double factor = at(i, k);
      for (size_t j = 0; j < size_; ++j)
        if (j != k) at(i, j) -= factor * at(k, j);
      at(i, k) = -factor / pivot;
    }
    at(k, k) = 1.0 / pivot;
  }

  size_t size_;
  std::vector<double> matrix_;
  std::vector<bool> is_swept_;
};

void set_regression(const Family& family, const FamilyCounts& counts, size_t configuration,
                    const Regression& regression) {
  Table& table = *family.table;
  double* const block = table.cg_data.data() + configuration * table.cg_size;
  double intercept = counts.origins[0] + regression.coefficient(0);
  for (size_t i = 1; i < table.continuous_count; ++i) {
    const double coefficient = regression.coefficient(i + 1);
    block[cg_covariance_index(i, 0)] = coefficient;
    intercept -= coefficient * counts.origins[i];
  }
  block[cg_mean_index(0)] = intercept;
}

void maximize_continuous(const Family& family, const FamilyCounts& counts) {
  Table& table = *family.table;
  const size_t moments = moment_count(table.continuous_count);
  std::vector<double> variances(family.size(), 0.0);
  double pooled = 0.0, total = 0.0;
  for (size_t c = 0; c < family.size(); ++c) {
    const double number = counts.numbers[c];
    if (!family.learns(c) || !(number > 0.0)) continue;
    const Regression regression(table.continuous_count, counts.moments.data() + c * moments, number);
    set_regression(family, counts, c, regression);
    variances[c] = regression.residual_variance();
    pooled += number * variances[c];
    total += number;
  }
  for (size_t c = 0; c < family.size(); ++c) {
    if (!family.learns(c) || !(counts.numbers[c] > 0.0)) continue;
    double& variance = table.cg_data[c * table.cg_size + cg_covariance_index(0, 0)];
    if (counts.numbers[c] > kFewCases) {
      variance = variances[c];
    } else if (total > kFewCases) {
      variance = pooled / total;
    }
  }
}

}  // namespace

void maximize(const Family& family, const FamilyCounts& counts) {
  if (is_discrete(*family.node)) {
    maximize_discrete(family, counts);
  } else {
    maximize_continuous(family, counts);
  }
}

void maximize_all(const std::vector<Family>& families, const std::vector<FamilyCounts>& counts) {
  for (size_t f = 0; f < families.size(); ++f)
    if (families[f].is_learned) maximize(families[f], counts[f]);
}

std::vector<FamilyCounts> counts_with_prior(const std::vector<Family>& families, BlockSums&& cases,
                                            const std::vector<FamilyCounts>& prior) {
  if (cases.counts.empty()) return prior.empty() ? empty_counts(families) : prior;
  std::vector<FamilyCounts> counts = std::move(cases.counts);
  if (!prior.empty()) add_counts(counts, prior);
  return counts;
}

void set_experience(const std::vector<Family>& families, const std::vector<FamilyCounts>& counts,
                    const std::vector<FamilyCounts>& prior) noexcept {
  for (size_t f = 0; f < families.size(); ++f) {
    const Family& family = families[f];
    if (!family.is_learned) continue;
    Table& experience = *family.node->experience_table;
    const size_t states = is_discrete(*family.node) ? family.node->number_of_states : 1;
    for (size_t c = 0; c < experience.size; ++c) {
      if (!family.learns(c)) continue;
      const double* const numbers = counts[f].numbers.data() + c * states;
      double count = std::accumulate(numbers, numbers + states, 0.0);
      // A configuration that the network thinks impossible has no moments to stand for its experience.
      if (is_continuous(*family.node) && !prior.empty())
        count += static_cast<double>(family.experience(c)) - prior[f].numbers[c];
      experience.data[family.experience_places[c]] = static_cast<tv_number_t>(count);
    }
  }
}

}  // namespace tv
