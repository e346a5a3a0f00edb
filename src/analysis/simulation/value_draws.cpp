#include "analysis/simulation/value_draws.h"

namespace tv {

RegressionDraw::RegressionDraw(const Node& node) : table_(node.table.get()) {
  if (!table_) return;
  const auto place = [&](const Node& member) {
    return table_->nodes.position(&member) - table_->discrete_count;
  };
  size_t step = 1;
  for (size_t i = table_->discrete_count; i-- > 0; step *= table_->nodes[i]->number_of_states)
    discrete_.push_back({table_->nodes[i]->number - 1, step});
  const size_t own = place(node);
  intercept_ = cg_mean_index(own);
  variance_ = cg_covariance_index(own, own);
  for (size_t i = table_->discrete_count; i < table_->nodes.size(); ++i)
    if (const Node& parent = *table_->nodes[i]; &parent != &node)
      continuous_.push_back({parent.number - 1, cg_covariance_index(own, place(parent))});
}

double RegressionDraw::draw(const size_t* states, const double* values,
                            RandomGenerator& random) const noexcept {
  if (!table_) return random.normal(0.0, 1.0);
  size_t configuration = 0;
  for (const Term& term : discrete_) configuration += states[term.node] * term.step;
  const double* const block = table_->cg_data.data() + configuration * table_->cg_size;
  double mean = block[intercept_];
  for (const Term& term : continuous_) mean += block[term.step] * values[term.node];
  return random.normal(mean, block[variance_]);
}

CliqueDraw::CliqueDraw(const CgEngine& engine, const CgClique& clique) : engine_(engine), clique_(clique) {}

void CliqueDraw::draw(const size_t* states, double* values, RandomGenerator& random) const noexcept {
  const NodeList& members = clique_.clique->members();
  size_t configuration = 0;
  for (size_t d = 0; d < clique_.discrete; ++d)
    configuration = configuration * members[d]->number_of_states + states[members[d]->number - 1];
  const double* const block = clique_.regressions + configuration * cg_size_for(clique_.count);
  const auto value_of = [&](size_t position) -> double& {
    return values[engine_.nodes[clique_.nodes[position]].node->number - 1];
  };
  for (size_t i = clique_.shared; i < clique_.count; ++i) {
    if (engine_.nodes[clique_.nodes[i]].observed) continue;
    const double* const run = cg_run(block, i);
    double mean = run[0];
    for (size_t k = 0; k < i; ++k) mean += run[1 + k] * value_of(k);
    value_of(i) = random.normal(mean, run[1 + i]);
  }
}

}  // namespace tv
