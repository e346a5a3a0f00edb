// What merging two states costs depends on these two alone, so that it is computed once for each pair, and
// anew only for the pairs of a merged state.
#include "learn/structure/trees/hidden_states.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tv {
namespace {

constexpr size_t kMostStates = 512;  // to begin with

class StateMerger {
 public:
  StateMerger(const CaseColumns& columns, const CountLogarithms& logarithms, uint32_t target, uint32_t a,
              uint32_t b)
      : columns_(columns), logarithms_(logarithms), nodes_{target, a, b} {}

  HiddenStates run() {
    if (std::max(occurring(1), occurring(2)) > kMostStates) return {};
    number_pairs();
    if (counts_.size() < 2 || counts_.size() > kMostStates) return {};
    count_cases();
    if (!(total_ > 0)) return {};
    for (size_t i = 0; i < counts_.size(); ++i) merged_into_.push_back(i);
    price_pairs();
    while (left_ > 2 && merge_best_pair()) {
    }
    return result();
  }

 private:
  size_t occurring(size_t role) const noexcept { return columns_.occurring(nodes_[role]); }
  size_t code(size_t role, size_t row) const noexcept { return columns_[nodes_[role]].discrete.codes[row]; }
  bool is_known(size_t role, size_t row) const noexcept { return code(role, row) < occurring(role); }
  double parameters(size_t role) const noexcept {
    return static_cast<double>(columns_.states(nodes_[role])) - 1.0;
  }

  // The pairs that occur, in the order of the states of `a`, then of `b`.
  void number_pairs() {
    numbers_.assign(occurring(1) * occurring(2), kNone);
    for (size_t row = 0; row < columns_.rows(); ++row)
      if (is_known(1, row) && is_known(2, row)) numbers_[pair_of(row)] = 0;
    for (size_t& number : numbers_) {
      if (number == kNone) continue;
      number = counts_.size();
      counts_.emplace_back(occurring(0) + occurring(1) + occurring(2), 0.0);
      if (counts_.size() > kMostStates) return;
    }
  }

  size_t pair_of(size_t row) const noexcept { return code(1, row) * occurring(2) + code(2, row); }

  void count_cases() {
    class_counts_.assign(occurring(0), 0.0);
    joint_counts_[0].assign(occurring(0) * occurring(1), 0.0);
    joint_counts_[1].assign(occurring(0) * occurring(2), 0.0);
    for (size_t row = 0; row < columns_.rows(); ++row) {
      if (!is_known(0, row) || !is_known(1, row) || !is_known(2, row)) continue;
      const double weight = columns_.weight(row);
      std::vector<double>& counts = counts_[numbers_[pair_of(row)]];
      counts[code(0, row)] += weight;
      counts[occurring(0) + code(1, row)] += weight;
      counts[occurring(0) + occurring(1) + code(2, row)] += weight;
      class_counts_[code(0, row)] += weight;
      joint_counts_[0][code(0, row) * occurring(1) + code(1, row)] += weight;
      joint_counts_[1][code(0, row) * occurring(2) + code(2, row)] += weight;
      total_ += weight;
    }
    of_parameter_ = 0.5 * std::log(std::max(total_, 1.0));
    left_ = counts_.size();
    for (const std::vector<double>& counts : counts_) fits_.push_back(fit(counts));
  }

  // What the states of a hidden node add to the log-likelihood, but for the counts of the classes.
  int64_t fit(const std::vector<double>& counts) const {
    double total = 0.0;
    int64_t sum = 0;
    for (size_t i = 0; i < counts.size(); ++i) {
      if (i < occurring(0)) total += counts[i];
      sum += logarithms_(counts[i]);
    }
    return sum - 2 * logarithms_(total);
  }

  std::vector<double> together(size_t i, size_t j) const {
    std::vector<double> counts = counts_[i];
    for (size_t k = 0; k < counts.size(); ++k) counts[k] += counts_[j][k];
    return counts;
  }

  // Of i with the states behind it.
  void price_row(size_t i) {
    best_[i] = kNone;
    for (size_t j = i + 1; j < counts_.size(); ++j)
      if (merged_into_[j] == j && (best_[i] == kNone || loss(i, j) < loss(i, best_[i]))) best_[i] = j;
  }
  int64_t& loss(size_t i, size_t j) { return losses_[PairFindings::place(i, j)]; }
  void price(size_t i, size_t j) { loss(i, j) = fits_[i] + fits_[j] - fit(together(i, j)); }

  void price_pairs() {
    losses_.resize(counts_.size() * (counts_.size() - 1) / 2);
    best_.resize(counts_.size());
    for (size_t i = 0; i < counts_.size(); ++i)
      for (size_t j = i + 1; j < counts_.size(); ++j) price(i, j);
    for (size_t i = 0; i < counts_.size(); ++i) price_row(i);
  }

  // Of each state that is merged away, the class has one parameter less, and the two nodes a distribution.
  double saving() const noexcept {
    return of_parameter_ * (parameters(0) + 1.0 + parameters(1) + parameters(2));
  }

  bool merge_best_pair() {
    size_t first = kNone;
    for (size_t i = 0; i < counts_.size(); ++i)
      if (merged_into_[i] == i && best_[i] != kNone &&
          (first == kNone || loss(i, best_[i]) < loss(first, best_[first])))
        first = i;
    const size_t second = best_[first];
    if (logarithms_.value(loss(first, second)) > saving()) return false;
    counts_[first] = together(first, second);
    fits_[first] = fit(counts_[first]);
    merged_into_[second] = first;
    --left_;
    for (size_t k = 0; k < counts_.size(); ++k)
      if (merged_into_[k] == k && k != first) price(first, k);
    for (size_t i = 0; i < counts_.size(); ++i) {
      if (merged_into_[i] != i) continue;
      if (i == first || best_[i] == first || best_[i] == second)
        price_row(i);
      else if (i < first && loss(i, first) < loss(i, best_[i]))
        best_[i] = first;
    }
    return true;
  }

  HiddenStates result() const {
    HiddenStates found;
    std::vector<size_t> codes(counts_.size());  // a state is merged into an earlier one
    int64_t fit_with = 0, fit_without = 0;
    for (size_t i = 0; i < counts_.size(); ++i) {
      codes[i] = merged_into_[i] == i ? found.count++ : codes[merged_into_[i]];
      if (merged_into_[i] == i) fit_with += fits_[i];
    }
    for (const double n : class_counts_) {
      fit_with -= logarithms_(n);
      fit_without -= 2 * logarithms_(n);
    }
    for (const std::vector<double>& counts : joint_counts_)
      for (const double n : counts) fit_without += logarithms_(n);
    const double classes = parameters(0) + 1.0, hidden = static_cast<double>(found.count);
    const double of_nodes = parameters(1) + parameters(2);
    found.gain = logarithms_.value(fit_with - fit_without) -
                 of_parameter_ * (classes * (hidden - 1.0) + hidden * of_nodes - classes * of_nodes);
    found.codes.resize(columns_.rows());
    for (size_t row = 0; row < columns_.rows(); ++row) {
      const bool known = is_known(1, row) && is_known(2, row);
      found.codes[row] = static_cast<uint16_t>(known ? codes[numbers_[pair_of(row)]] : found.count);
    }
    return found;
  }

  const CaseColumns& columns_;
  const CountLogarithms& logarithms_;
  const uint32_t nodes_[3];                  // the class, then the two
  std::vector<size_t> numbers_;              // of pairs of states
  std::vector<std::vector<double>> counts_;  // by hidden state: of classes, states of the one, of the other
  std::vector<int64_t> fits_;                // by hidden state
  std::vector<size_t> merged_into_;          // by hidden state, itself while it is there
  std::vector<int64_t> losses_;              // of log-likelihood, by pair
  std::vector<size_t> best_;  // by state, of those behind it the one that it is merged with best
  std::vector<double> class_counts_, joint_counts_[2];
  double total_ = 0.0, of_parameter_ = 0.0;
  size_t left_ = 0;
};

}  // namespace

HiddenStates find_hidden_states(const CaseColumns& columns, const CountLogarithms& logarithms,
                                uint32_t target, uint32_t a, uint32_t b) {
  return StateMerger(columns, logarithms, target, a, b).run();
}

}  // namespace tv
