// Random cases, and expectation and maximisation by enumeration of everything that is missing.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

#include "support/builders.h"

namespace test {

using Row = std::vector<double>;  // by node: a state or a value; NaN: missing

inline bool is_discrete(const tv_node_t* node) { return tv_node_get_kind(node) == tv_kind_discrete; }

// Numbers and experience of one node, as a host sees them.
struct Distribution {
  std::vector<double> numbers;     // of a discrete node
  std::vector<double> intercepts;  // of a continuous one, by configuration
  std::vector<double> variances;
  std::vector<std::vector<double>> coefficients;  // by continuous parent
  std::vector<double> experience;                 // empty: not learned
};

inline Distribution distribution_of(tv_node_t* node) {
  Distribution result;
  tv_table_t* table = tv_node_get_table(node);
  const size_t size = tv_table_get_size(table);
  if (is_discrete(node)) {
    result.numbers.assign(tv_table_get_data(table), tv_table_get_data(table) + size);
  } else {
    for (size_t c = 0; c < size; ++c) {
      result.intercepts.push_back(tv_node_get_intercept(node, c));
      result.variances.push_back(tv_node_get_conditional_variance(node, c));
    }
    for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent) {
      if (is_discrete(*parent)) continue;
      result.coefficients.emplace_back();
      for (size_t c = 0; c < size; ++c)
        result.coefficients.back().push_back(tv_node_get_coefficient(node, *parent, c));
    }
  }
  if (tv_node_has_experience_table(node) == 1) {
    tv_table_t* experience = tv_node_get_experience_table(node);
    result.experience.assign(tv_table_get_data(experience),
                             tv_table_get_data(experience) + tv_table_get_size(experience));
  }
  return result;
}

// One iteration after the other, in doubles, over all states of what is missing. Continuous nodes must be
// known in every case.
class Enumeration {
 public:
  Enumeration(const std::vector<tv_node_t*>& nodes, std::vector<Row> rows, std::vector<double> weights)
      : nodes_(nodes), rows_(std::move(rows)), weights_(std::move(weights)) {
    for (tv_node_t* node : nodes_) {
      distributions_.push_back(distribution_of(node));
      parents_.emplace_back();
      for (tv_node_t** parent = tv_node_get_parents(node); *parent; ++parent)
        parents_.back().push_back(index_of(*parent));
    }
    initial_ = distributions_;
  }

  double log_likelihood = 0.0;  // of the tables before the last iteration
  const std::vector<Distribution>& distributions() const { return distributions_; }

  void iterate() {
    counts_.assign(nodes_.size(), {});
    log_likelihood = 0.0;
    for (size_t r = 0; r < rows_.size(); ++r) {
      if (!(weights_[r] > 0.0)) continue;
      std::vector<std::pair<Row, double>> completions;
      double sum = 0.0;
      complete(rows_[r], 0, [&](const Row& row) {
        double product = 1.0;
        for (size_t v = 0; v < nodes_.size(); ++v) product *= density(v, row);
        completions.emplace_back(row, product);
        sum += product;
      });
      log_likelihood += weights_[r] * std::log(sum);
      for (const auto& [row, product] : completions)
        for (size_t v = 0; v < nodes_.size(); ++v) count(v, row, weights_[r] * product / sum);
    }
    for (size_t v = 0; v < nodes_.size(); ++v)
      if (is_learned(v)) maximize(v);
  }

  // What the experience tables hold after the last iteration.
  double experience_after(size_t v, size_t configuration) const {
    const double before = initial_[v].experience[configuration];
    if (before < 0.0) return before;
    double number = before;
    for (const auto& [key, sample] : counts_[v])
      if (key.first == configuration)
        for (const auto& entry : sample) number += entry.weight;
    return number;
  }

 private:
  struct Sample {
    size_t state;
    double value;
    std::vector<double> inputs;
    double weight;
  };
  using Key = std::pair<size_t, size_t>;  // configuration; 0

  size_t index_of(const tv_node_t* node) const {
    return static_cast<size_t>(std::find(nodes_.begin(), nodes_.end(), node) - nodes_.begin());
  }
  bool is_learned(size_t v) const {
    const std::vector<double>& experience = initial_[v].experience;
    return !experience.empty() && *std::max_element(experience.begin(), experience.end()) >= 0.0;
  }
  size_t states(size_t v) const { return tv_node_get_number_of_states(nodes_[v]); }

  template <class Visit>
  void complete(Row row, size_t v, const Visit& visit) const {
    while (v < row.size() && !std::isnan(row[v])) ++v;
    if (v == row.size()) return visit(row);
    for (size_t s = 0; s < states(v); ++s) {
      row[v] = static_cast<double>(s);
      complete(row, v + 1, visit);
    }
  }

  size_t configuration(size_t v, const Row& row) const {
    size_t result = 0;
    for (const size_t p : parents_[v])
      if (is_discrete(nodes_[p])) result = result * states(p) + static_cast<size_t>(row[p]);
    return result;
  }
  std::vector<double> inputs(size_t v, const Row& row) const {
    std::vector<double> result;
    for (const size_t p : parents_[v])
      if (!is_discrete(nodes_[p])) result.push_back(row[p]);
    return result;
  }

  double density(size_t v, const Row& row) const {
    const Distribution& d = distributions_[v];
    const size_t c = configuration(v, row);
    if (is_discrete(nodes_[v])) return d.numbers[c * states(v) + static_cast<size_t>(row[v])];
    double mean = d.intercepts[c];
    const std::vector<double> x = inputs(v, row);
    for (size_t i = 0; i < x.size(); ++i) mean += d.coefficients[i][c] * x[i];
    return std::exp(-0.5 * (row[v] - mean) * (row[v] - mean) / d.variances[c]) /
           std::sqrt(2.0 * M_PI * d.variances[c]);
  }

  void count(size_t v, const Row& row, double weight) {
    const size_t state = is_discrete(nodes_[v]) ? static_cast<size_t>(row[v]) : 0;
    counts_[v][{configuration(v, row), 0}].push_back({state, row[v], inputs(v, row), weight});
  }

  void maximize(size_t v) {
    Distribution& d = distributions_[v];
    double pooled = 0.0, total = 0.0;
    std::map<size_t, double> number, variance;
    for (const auto& [key, samples] : counts_[v]) {
      const size_t c = key.first;
      const double experience = initial_[v].experience[c];
      if (experience < 0.0) continue;
      if (is_discrete(nodes_[v])) {
        std::vector<double> numbers(states(v));
        for (size_t s = 0; s < numbers.size(); ++s)
          numbers[s] = experience * initial_[v].numbers[c * states(v) + s];
        for (const Sample& sample : samples) numbers[sample.state] += sample.weight;
        double sum = 0.0;
        for (const double n : numbers) sum += n;
        for (size_t s = 0; s < numbers.size() && sum > 0.0; ++s)
          d.numbers[c * states(v) + s] = numbers[s] / sum;
        continue;
      }
      for (const Sample& sample : samples) number[c] += sample.weight;
      if (!(number[c] > 0.0)) continue;
      fit(d, c, samples);
      for (const Sample& sample : samples) {
        double residual = sample.value - d.intercepts[c];
        for (size_t i = 0; i < sample.inputs.size(); ++i) residual -= d.coefficients[i][c] * sample.inputs[i];
        variance[c] += sample.weight * residual * residual;
      }
      pooled += variance[c];
      total += number[c];
    }
    for (const auto& [c, n] : number) {
      if (n > 5.0) {
        d.variances[c] = variance[c] / n;
      } else if (total > 5.0 && n > 0.0) {
        d.variances[c] = pooled / total;
      }
    }
  }

  // Weighted least squares on at most one parent.
  static void fit(Distribution& d, size_t c, const std::vector<Sample>& samples) {
    double n = 0, x = 0, y = 0, xx = 0, xy = 0;
    for (const Sample& sample : samples) {
      n += sample.weight;
      y += sample.weight * sample.value;
      if (!sample.inputs.empty()) x += sample.weight * sample.inputs[0];
    }
    for (const Sample& sample : samples) {
      const double dx = sample.inputs.empty() ? 0.0 : sample.inputs[0] - x / n;
      xx += sample.weight * dx * dx;
      xy += sample.weight * dx * (sample.value - y / n);
    }
    const double slope = xx > 1e-9 * n ? xy / xx : 0.0;
    if (!d.coefficients.empty()) d.coefficients[0][c] = slope;
    d.intercepts[c] = (y - slope * x) / n;
  }

  std::vector<tv_node_t*> nodes_;
  std::vector<Row> rows_;
  std::vector<double> weights_;
  std::vector<std::vector<size_t>> parents_;
  std::vector<Distribution> distributions_, initial_;
  std::vector<std::map<Key, std::vector<Sample>>> counts_;
};

// Cases in which every node is missing with some probability; nodes with values never are.
inline std::vector<Row> random_rows(Generator& random, const std::vector<tv_node_t*>& nodes, size_t count,
                                    double missing) {
  std::vector<Row> rows(count);
  for (Row& row : rows)
    for (tv_node_t* node : nodes) {
      if (!is_discrete(node)) {
        row.push_back(std::round(random.uniform() * 40.0 - 10.0) / 4.0);
      } else {
        row.push_back(random.chance(missing)
                          ? NAN
                          : static_cast<double>(random.below(tv_node_get_number_of_states(node))));
      }
    }
  return rows;
}

inline void store(tv_domain_t* domain, const std::vector<tv_node_t*>& nodes, const std::vector<Row>& rows,
                  const std::vector<double>& weights) {
  ASSERT_EQ(tv_domain_set_number_of_cases(domain, 0), tv_status_none);
  for (size_t r = 0; r < rows.size(); ++r) {
    ASSERT_EQ(tv_domain_new_case(domain), r);
    for (size_t v = 0; v < nodes.size(); ++v) {
      if (std::isnan(rows[r][v])) continue;
      if (is_discrete(nodes[v])) {
        tv_node_set_case_state(nodes[v], r, static_cast<size_t>(rows[r][v]));
      } else {
        tv_node_set_case_value(nodes[v], r, rows[r][v]);
      }
    }
    tv_domain_set_case_count(domain, r, static_cast<float>(weights[r]));
  }
}

// Gives most nodes an experience table: zeros, counts, and now and then a negative one.
inline void give_experience(Generator& random, const std::vector<tv_node_t*>& nodes) {
  for (tv_node_t* node : nodes) {
    if (node != nodes.front() && random.chance(0.2)) continue;
    tv_table_t* table = tv_node_get_experience_table(node);
    if (!is_discrete(node) || random.chance(0.5)) continue;
    float* const data = tv_table_get_data(table);
    for (size_t i = 0; i < tv_table_get_size(table); ++i)
      data[i] = random.chance(0.2) ? -1.0f : static_cast<float>(random.below(6));
    if (node == nodes.front()) data[0] = 2.0f;
  }
}

inline void normalize(const std::vector<tv_node_t*>& nodes) {
  for (tv_node_t* node : nodes) {
    if (!is_discrete(node)) continue;
    tv_table_t* table = tv_node_get_table(node);
    float* const data = tv_table_get_data(table);
    const size_t states = tv_node_get_number_of_states(node);
    for (size_t c = 0; c < tv_table_get_size(table); c += states) {
      float sum = 0;
      for (size_t s = 0; s < states; ++s) sum += data[c + s];
      for (size_t s = 0; s < states; ++s) data[c + s] /= sum;
    }
    tv_node_touch_table(node);
  }
}

}  // namespace test
