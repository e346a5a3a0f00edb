// Collects the regressions of both nodes over the same terms, configuration by configuration, reverses them
// by the algebra of blocks, and puts them where they belong in the new tables.
#include "network/links/reverse_regressions.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "network/node.h"
#include "tables/cg_block.h"

namespace tv {
namespace {

// Where the regression of a node stands in the blocks of its table.
struct RegressionPlaces {
  RegressionPlaces(const Table& regression_table, const Node& node) : table(regression_table) {
    owner = place(node);
    intercept = cg_mean_index(owner);
    variance = cg_covariance_index(owner, owner);
  }
  size_t coefficient(const Node& parent) const noexcept {  // kNone for a node that is not a parent
    return table.nodes.contains(&parent) ? cg_covariance_index(owner, place(parent)) : kNone;
  }
  size_t place(const Node& node) const noexcept { return table.nodes.position(&node) - table.discrete_count; }

  const Table& table;
  size_t owner, intercept, variance;
};

// A term that all four regressions may have: the intercept or the coefficient of a common parent.
struct Term {
  size_t in_x, in_y;  // kNone where it is absent
  size_t in_new_x, in_new_y;
};

double value_at(const double* block, size_t entry) noexcept { return entry == kNone ? 0.0 : block[entry]; }

// Visits the configurations of the first table in order, with the index of each one in the other tables,
// whose discrete nodes are among those of the first.
class ConfigurationWalk {
 public:
  ConfigurationWalk(const Table& table, std::initializer_list<const Table*> others)
      : table_(table), states_(table.discrete_count, 0), index_(others.size(), 0) {
    for (const Table* other : others)
      for (size_t i = 0; i < table.discrete_count; ++i) strides_.push_back(stride(*other, table.nodes[i]));
  }
  size_t index(size_t other) const noexcept { return index_[other]; }
  void advance() noexcept {
    for (size_t i = table_.discrete_count; i-- > 0;) {
      const size_t count = table_.nodes[i]->number_of_states;
      const bool turns = ++states_[i] == count;
      for (size_t other = 0; other < index_.size(); ++other) {
        const size_t step = strides_[other * table_.discrete_count + i];
        index_[other] = turns ? index_[other] - step * (count - 1) : index_[other] + step;
      }
      if (!turns) return;
      states_[i] = 0;
    }
  }

 private:
  static size_t stride(const Table& table, const Node* node) noexcept {
    size_t product = 1;
    for (size_t i = table.discrete_count; i-- > 0; product *= table.nodes[i]->number_of_states)
      if (table.nodes[i] == node) return product;
    return 0;
  }

  const Table& table_;
  std::vector<size_t> states_, index_, strides_;
};

std::vector<Term> common_terms(const RegressionPlaces& x, const RegressionPlaces& y,
                               const RegressionPlaces& new_x, const RegressionPlaces& new_y) {
  std::vector<Term> terms{{x.intercept, y.intercept, new_x.intercept, new_y.intercept}};
  for (size_t i = new_y.table.discrete_count; i < new_y.table.nodes.size(); ++i) {
    const Node& parent = *new_y.table.nodes[i];
    if (i == new_y.table.discrete_count + new_y.owner) continue;
    terms.push_back(
        {x.coefficient(parent), y.coefficient(parent), new_x.coefficient(parent), new_y.coefficient(parent)});
  }
  return terms;
}

bool all_finite(const Table& table) noexcept {
  return std::all_of(table.cg_data.begin(), table.cg_data.end(),
                     [](double entry) { return std::isfinite(entry); });
}

}  // namespace

tv_status_t reverse_regression_tables(const Node& x_node, const Node& y_node, const Table& x_table,
                                      const Table& y_table, Table& x_given_y, Table& y_alone) {
  const RegressionPlaces x(x_table, x_node), y(y_table, y_node);
  const RegressionPlaces new_x(x_given_y, x_node), new_y(y_alone, y_node);
  const std::vector<Term> terms = common_terms(x, y, new_x, new_y);
  const size_t x_in_y = y.coefficient(x_node), y_in_new_x = new_x.coefficient(y_node);
  std::vector<double> x_run(terms.size() + 1), y_run(terms.size() + 1);  // terms, then the variance
  ConfigurationWalk walk(x_given_y, {&x_table, &y_table, &y_alone});
  for (size_t configuration = 0; configuration < x_given_y.size; ++configuration, walk.advance()) {
    const double* x_block = x_table.cg_data.data() + walk.index(0) * x_table.cg_size;
    const double* y_block = y_table.cg_data.data() + walk.index(1) * y_table.cg_size;
    double* new_x_block = x_given_y.cg_data.data() + configuration * x_given_y.cg_size;
    double* new_y_block = y_alone.cg_data.data() + walk.index(2) * y_alone.cg_size;

    for (size_t i = 0; i < terms.size(); ++i) {
      x_run[i] = value_at(x_block, terms[i].in_x);
      y_run[i] = value_at(y_block, terms[i].in_y);
    }
    x_run.back() = x_block[x.variance];
    y_run.back() = y_block[y.variance];
    double coefficient = y_block[x_in_y];
    reverse_regressions(x_run.data(), y_run.data(), coefficient, terms.size() - 1);
    for (size_t i = 0; i < terms.size(); ++i) {
      new_x_block[terms[i].in_new_x] = x_run[i];
      new_y_block[terms[i].in_new_y] = y_run[i];
    }
    new_x_block[y_in_new_x] = coefficient;
    new_x_block[new_x.variance] = x_run.back();
    new_y_block[new_y.variance] = y_run.back();
  }
  return all_finite(x_given_y) && all_finite(y_alone) ? tv_status_none : store_status(tv_status_overflow);
}

}  // namespace tv
