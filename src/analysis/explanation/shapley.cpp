#include "analysis/explanation/shapley.h"

#include <bit>
#include <cmath>
#include <numeric>
#include <random>

namespace tv {
namespace {

constexpr uint64_t kSeed = 310952;

class Shapley {
 public:
  Shapley(EvidenceQuery& query, const Node& node, ShapleyValues& result)
      : query_(query), node_(node), result_(result), count_(query.findings().size()) {
    result_.values.assign(count_, std::vector<double>(node.number_of_states, 0));
    result_.standard_errors = result_.values;
  }

  // Each group gives its value to those of its members, and takes it from those of all others, with the
  // weight of the orders in which it is known before or after them. In a Gray code one finding changes at a
  // time.
  tv_status_t sum_over_groups() {
    query_.leave_out_all();
    for (size_t i = 0; i < size_t{1} << count_; ++i) {
      const size_t group = i ^ i >> 1;
      if (i > 0) {
        const auto changed = static_cast<size_t>(std::countr_zero(i));
        group >> changed & 1 ? query_.enter(changed) : query_.leave_out(changed);
      }
      if (tv_status_t status = query_.propagate()) return status;
      add_group(group, query_.distribution(node_));
    }
    return tv_status_none;
  }

  tv_status_t sample(size_t orders) {
    std::mt19937_64 random(kSeed);
    std::vector<size_t> order(count_);
    std::iota(order.begin(), order.end(), size_t{0});
    for (size_t n = 1; n <= orders; ++n) {
      for (size_t i = count_; i-- > 1;) std::swap(order[i], order[random() % (i + 1)]);
      if (tv_status_t status = follow(order, static_cast<double>(n))) return status;
    }
    const auto n = static_cast<double>(orders);
    for (std::vector<double>& errors : result_.standard_errors)
      for (double& error : errors) error = std::sqrt(error / (n - 1) / n);
    return tv_status_none;
  }

 private:
  // How probable it is that just `size` findings, and none of them a given one, come before it.
  double weight(size_t size) const noexcept {
    double binomial = 1;
    for (size_t i = 0; i < size; ++i)
      binomial *= static_cast<double>(count_ - 1 - i) / static_cast<double>(i + 1);
    return 1 / (binomial * static_cast<double>(count_));
  }

  void add_group(size_t group, const Distribution& distribution) noexcept {
    const auto size = static_cast<size_t>(std::popcount(group));
    for (size_t f = 0; f < count_; ++f) {
      const double share = group >> f & 1 ? weight(size - 1) : -weight(size);
      for (size_t s = 0; s < distribution.size(); ++s) result_.values[f][s] += share * distribution[s];
    }
  }

  // The n-th order. Means and sums of squared deviations follow each number (Welford 1962).
  tv_status_t follow(const std::vector<size_t>& order, double n) {
    query_.leave_out_all();
    if (tv_status_t status = query_.propagate()) return status;
    Distribution before = query_.distribution(node_);
    for (const size_t f : order) {
      query_.enter(f);
      if (tv_status_t status = query_.propagate()) return status;
      Distribution after = query_.distribution(node_);
      for (size_t s = 0; s < after.size(); ++s) {
        const double step = after[s] - before[s], off = step - result_.values[f][s];
        result_.values[f][s] += off / n;
        result_.standard_errors[f][s] += off * (step - result_.values[f][s]);
      }
      before = std::move(after);
    }
    return tv_status_none;
  }

  EvidenceQuery& query_;
  const Node& node_;
  ShapleyValues& result_;
  const size_t count_;
};

}  // namespace

tv_status_t find_shapley_values(EvidenceQuery& query, const Node& node, size_t orders,
                                ShapleyValues& result) {
  Shapley shapley(query, node, result);
  return query.findings().size() <= kMaxExactFindings ? shapley.sum_over_groups() : shapley.sample(orders);
}

}  // namespace tv
