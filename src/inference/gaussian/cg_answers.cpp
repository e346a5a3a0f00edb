// Answers about continuous nodes: mixtures over the configurations of a clique, or, for distributions and
// joint marginals, over those of the roots of all components concerned.

#include "inference/gaussian/cg_answers.h"

#include <algorithm>
#include <cmath>

#include "api/boundary.h"
#include "inference/answers/clique_view.h"
#include "inference/answers/joint_marginal.h"
#include "inference/answers/queries.h"
#include "inference/gaussian/cg_moments.h"
#include "tables/host_table.h"
#include "tables/mixture.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

CgEngine& cg_engine_of(const InferenceState& state, const Node& node) noexcept {
  return *state.engine_of(node)->cg;
}

std::span<Node* const> discrete_members(const CgClique& clique) noexcept {
  return {clique.clique->members().begin(), clique.discrete};
}

bool has_finite_blocks(const Table& table) noexcept {
  return std::all_of(table.cg_data.begin(), table.cg_data.end(), [](double x) { return std::isfinite(x); });
}

// The unobserved target nodes of one component.
struct Part {
  CgEngine* engine;
  size_t component;
  std::vector<size_t> targets;    // among the nodes of the engine
  std::vector<size_t> positions;  // among the continuous nodes of the answer
};

const CgClique& root_of(const Part& part) noexcept {
  return part.engine->cliques[part.engine->components[part.component].cliques.front()];
}

// The discrete nodes over which the answer is a mixture, the states of one of its configurations, and the
// contribution of a configuration.
class JointMarginal {
 public:
  JointMarginal(InferenceState& state, const NodeList& nodes) : state_(state) {
    for (Node* node : nodes)
      if (is_discrete(*node)) answer_nodes_.push_back(node);
    joint_nodes_ = answer_nodes_;
    for (Node* node : nodes)
      if (is_continuous(*node)) add_continuous(node);
    for (const Part& part : parts_)
      for (Node* node : discrete_members(root_of(part)))
        if (!joint_nodes_.contains(node)) joint_nodes_.push_back(node);
  }

  std::unique_ptr<Table> compute() {
    const std::unique_ptr<Table> joint = joint_marginal(state_, joint_nodes_);
    if (!joint) return nullptr;
    std::unique_ptr<Table> answer = new_table(*state_.domain);
    set_table_nodes(*answer, answer_nodes_);
    if (tv_status_t status = allocate_table_data(*answer)) {
      store_status(status);
      return nullptr;
    }
    weights_.allocate(answer->size);
    prepare_parts();
    for (size_t i = 0; i < joint->size; ++i)
      if (joint->data[i] > 0.0f) add_configuration(*joint, i, *answer);
    for (size_t i = 0; i < answer->size; ++i) {
      answer->data[i] = static_cast<tv_number_t>(weights_[i]);
      for (size_t k = 0; weights_[i] > 0.0 && k < answer->continuous_count; ++k)
        for (size_t l = 0; l <= k; ++l)
          answer->cg_data[i * answer->cg_size + cg_covariance_index(k, l)] /= weights_[i];
    }
    if (has_finite_blocks(*answer)) return answer;
    store_status(tv_status_overflow);
    return nullptr;
  }

 private:
  void add_continuous(Node* node) {
    answer_nodes_.push_back(node);
    CgEngine& engine = cg_engine_of(state_, *node);
    const CgNode& record = cg_node(engine, *node);
    const size_t position = means_.size();
    means_.push_back(record.value);
    if (record.observed) return;
    const size_t component = engine.cliques[record.home].component;
    auto part = std::find_if(parts_.begin(), parts_.end(), [&](const Part& one) {
      return one.engine == &engine && one.component == component;
    });
    if (part == parts_.end()) part = parts_.insert(part, {&engine, component, {}, {}});
    part->targets.push_back(static_cast<size_t>(&record - engine.nodes.data()));
    part->positions.push_back(position);
  }

  void prepare_parts() {
    moments_.reserve(parts_.size());
    for (const Part& part : parts_) moments_.emplace_back(*part.engine, part.component, part.targets);
    deviations_.resize(means_.size());
    covariances_.resize(means_.size() * means_.size());
    states_.resize(joint_nodes_.size());
    size_t most = 0;
    for (const CgMoments& moments : moments_) most = std::max(most, moments.root().discrete);
    root_states_.resize(most);
  }

  void add_configuration(const Table& joint, size_t index, Table& answer) {
    size_t rest = index;
    for (size_t d = joint_nodes_.size(); d-- > 0; rest /= joint_nodes_[d]->number_of_states)
      states_[d] = rest % joint_nodes_[d]->number_of_states;
    size_t target = 0;
    for (size_t d = 0; d < answer.discrete_count; ++d)
      target = target * answer.nodes[d]->number_of_states + states_[d];
    for (size_t p = 0; p < parts_.size(); ++p) find_part(parts_[p], moments_[p]);
    mix(joint.data[index], weights_[target], answer.cg_data.data() + target * answer.cg_size);
  }

  void find_part(const Part& part, CgMoments& moments) {
    for (size_t d = 0; d < moments.root().discrete; ++d)
      root_states_[d] = states_[joint_nodes_.position(moments.root().clique->members()[d])];
    moments.find(root_states_.data());
    for (size_t i = 0; i < part.positions.size(); ++i) {
      means_[part.positions[i]] = moments.mean(i);
      for (size_t j = 0; j < part.positions.size(); ++j)
        covariances_[part.positions[i] * means_.size() + part.positions[j]] = moments.covariance(i, j);
    }
  }

  void mix(double weight, double& total, double* block) noexcept {
    const double share = weight / (total + weight);
    for (size_t i = 0; i < means_.size(); ++i) {
      double& mean = block[cg_mean_index(i)];
      deviations_[i] = means_[i] - mean;
      mean = total > 0.0 ? mean + deviations_[i] * share : means_[i];
      for (size_t j = 0; j <= i; ++j)
        block[cg_covariance_index(i, j)] +=
            weight * covariances_[i * means_.size() + j] +
            (total > 0.0 ? total * share * deviations_[i] * deviations_[j] : 0.0);
    }
    total += weight;
  }

  InferenceState& state_;
  NodeList answer_nodes_, joint_nodes_;
  std::vector<Part> parts_;
  std::vector<CgMoments> moments_;
  Block<double> weights_;
  std::vector<double> means_, deviations_, covariances_;
  std::vector<size_t> states_, root_states_;
};

// Of one member in configuration `index`: its regression is followed back to the members shared with the
// parent, whose factors have been made, and from there to their innovations.
MeanAndVariance member_moments(CgEngine& engine, const CgClique& clique, size_t index,
                               size_t position) noexcept {
  MeanAndVariance result = {0.0, 0.0};
  double* form = engine.coefficients.data();
  std::fill_n(form, position + 1, 0.0);
  form[position] = 1.0;
  const double* regressions = clique.regressions + index * cg_size_for(clique.count);
  size_t node = position + 1;
  while (node > clique.shared) {
    const double own = form[--node];
    if (own == 0.0) continue;
    const double* run = cg_run(regressions, node);
    result.mean += own * run[0];
    result.variance += own * own * run[1 + node];
    for (size_t k = 0; k < node; ++k) form[k] += own * run[1 + k];
  }
  const double* factors = clique.factors + index * cg_size_for(clique.shared);
  for (size_t innovation = 0; innovation < node; ++innovation) {
    double loading = form[innovation];
    result.mean += loading * factors[cg_mean_index(innovation)];
    for (size_t k = innovation + 1; k < node; ++k) loading += form[k] * cg_run(factors, k)[1 + innovation];
    result.variance += loading * loading * factors[cg_covariance_index(innovation, innovation)];
  }
  return result;
}

}  // namespace

tv_status_t cg_mean_and_variance(const InferenceState& state, const Node& node,
                                 MeanAndVariance& result) noexcept {
  CgEngine& engine = cg_engine_of(state, node);
  const CgNode& record = cg_node(engine, node);
  if (record.observed) {
    result = {record.value, 0.0};
    return tv_status_none;
  }
  distribute_to(engine, record.home);
  const CgClique& clique = engine.cliques[record.home];
  const size_t position = cg_position(engine, clique, static_cast<size_t>(&record - engine.nodes.data()));
  read_table(*engine.discrete, *clique.clique, engine.weights.data());
  MixtureMoments moments;
  for (size_t i = 0; i < clique.size; ++i) {
    if (!(engine.weights[i] > 0.0f)) continue;
    const MeanAndVariance component = member_moments(engine, clique, i, position);
    moments.add(engine.weights[i], component.mean, component.variance);
  }
  if (!std::isfinite(moments.mean()) || !std::isfinite(moments.variance())) return tv_status_overflow;
  result = {moments.mean(), moments.variance()};
  return tv_status_none;
}

void cg_materialize(const Clique& record, double* cg_data) noexcept {
  CgEngine& engine = *record.tree->engine->cg;
  const size_t place = engine.clique_at[record.position];
  distribute_to(engine, place);
  const CgClique& clique = engine.cliques[place];
  read_table(*engine.discrete, record, engine.weights.data());
  const auto position = [&](size_t i) {
    const Node* node = record.members()[clique.discrete + i];
    return cg_position(engine, clique, static_cast<size_t>(&cg_node(engine, *node) - engine.nodes.data()));
  };
  for (size_t c = 0; c < clique.size; ++c, cg_data += record.table.cg_size) {
    std::fill_n(cg_data, record.table.cg_size, 0.0);
    if (!(engine.weights[c] > 0.0f)) continue;
    complete_factors(engine, clique, c, clique.count);
    for (size_t i = 0; i < clique.count; ++i) {
      const size_t own = position(i);
      cg_data[cg_mean_index(i)] = engine.block[cg_mean_index(own)];
      for (size_t j = 0; j <= i; ++j)
        cg_data[cg_covariance_index(i, j)] = factor_covariance(engine.block.data(), own, position(j));
    }
  }
}

std::unique_ptr<Table> cg_marginal(InferenceState& state, const NodeList& nodes) {
  return JointMarginal(state, nodes).compute();
}

std::unique_ptr<Table> cg_distribution(InferenceState& state, const Node& node) {
  CgEngine& engine = cg_engine_of(state, node);
  const CgNode& record = cg_node(engine, node);
  NodeList nodes;
  if (!record.observed) {
    const CgComponent& component = engine.components[engine.cliques[record.home].component];
    const CgClique& root = engine.cliques[component.cliques.front()];
    for (Node* member : discrete_members(root)) nodes.push_back(member);
  }
  nodes.push_back(record.node);
  return cg_marginal(state, nodes);
}

}  // namespace tv

tv_table_t* tv_node_get_distribution(tv_node_t* node) {
  return tv::guarded<tv_table_t*>(nullptr, [&]() -> tv_table_t* {
    const tv::Node* source = tv::node_with_results(node, tv::is_continuous_node(node));
    if (!source) return nullptr;
    std::unique_ptr<tv::Table> distribution = tv::cg_distribution(tv::own_state(*source->domain), *source);
    return distribution ? tv::hand_over(std::move(distribution)) : nullptr;
  });
}

double tv_node_get_quantile(tv_node_t* node, double probability) {
  return tv::guarded(-1.0, [&]() -> double {
    const bool is_inside = probability > 0 && probability < 1;
    const tv::Node* source = tv::node_with_results(node, tv::is_continuous_node(node) && is_inside);
    if (!source) return -1;
    const std::unique_ptr<tv::Table> table = tv::cg_distribution(tv::own_state(*source->domain), *source);
    return table ? tv::Mixture(*table, 0).quantile(probability) : -1;
  });
}
