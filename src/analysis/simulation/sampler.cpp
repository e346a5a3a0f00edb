#include "analysis/simulation/sampler.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "expr/table_generator.h"
#include "inference/answers/queries.h"
#include "inference/evidence/evidence.h"
#include "network/node_operations.h"
#include "network/refusals.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

// The number whose natural logarithm this is.
WideNumber wide_exponential(double logarithm) noexcept {
  if (!(logarithm > -1e15)) return {};
  const double power = logarithm * std::numbers::log2e;
  const double whole = std::floor(power);
  WideNumber result = {1.0, static_cast<int64_t>(whole)};
  result.multiply(std::exp2(power - whole));
  return result;
}

bool is_drawn(const Node& node) noexcept {
  return is_discrete_or_continuous(node) && node.category != tv_category_utility;
}

const Table* table_with_numbers(const Node& node) noexcept {
  return node.table && has_data(*node.table) ? node.table.get() : nullptr;
}

}  // namespace

class SamplerBuilder {
 public:
  SamplerBuilder(Domain& domain, Sampler& sampler)
      : domain_(domain),
        sampler_(sampler),
        state_(is_compiled(domain) ? domain.forest->state.get() : nullptr),
        states_(domain.node_count, 0),
        is_relevant_(domain.node_count, 0),
        is_observed_(domain.node_count, 0),
        is_done_(domain.node_count, 0) {}

  tv_status_t build() {
    if (state_) {
      find_evidence();
      find_components();
      mark_relevant();
      if (tv_status_t status = eliminate_relevant()) return status;
    }
    add_steps_in_order();
    add_components();
    sampler_.rows_.make_room();
    return tv_status_none;
  }

 private:
  static size_t index_of(const Node& node) noexcept { return node.number - 1; }

  void find_evidence() {
    for (const Node& node : domain_.nodes) {
      if (!is_drawn(node) || !placement(node).tree) continue;
      const NodeState& record = (*state_)[node];
      if (is_continuous(node) ? !record.value_propagated : record.propagated_state < 0) continue;
      is_observed_[index_of(node)] = is_done_[index_of(node)] = 1;
      if (is_continuous(node)) {
        sampler_.observed_values_.emplace_back(index_of(node), record.propagated_value);
      } else {
        states_[index_of(node)] = static_cast<size_t>(record.propagated_state);
        sampler_.observed_states_.emplace_back(index_of(node), states_[index_of(node)]);
      }
    }
  }

  // Components of continuous nodes with evidence; their nodes are drawn together.
  void find_components() {
    for (const auto& engine : state_->trees) {
      if (!engine->cg) continue;
      for (size_t c = 0; c < engine->cg->components.size(); ++c) {
        if (!holds_evidence(*engine->cg, engine->cg->components[c])) continue;
        collect_component(*engine->cg, c);
        components_.push_back({engine->cg.get(), c});
        for (const size_t clique : engine->cg->components[c].cliques)
          for (size_t i = 0; i < engine->cg->cliques[clique].count; ++i)
            is_done_[index_of(*engine->cg->nodes[engine->cg->cliques[clique].nodes[i]].node)] = 1;
      }
    }
  }

  // ---- The discrete nodes on which evidence bears ----

  void reach(const Node& node) {
    if (!is_discrete(node) || is_relevant_[index_of(node)]) return;
    is_relevant_[index_of(node)] = 1;
    open_.push_back(&node);
  }

  // Those with evidence, those on which the density of observed values depends, those in chain components;
  // and all their ancestors. Whatever remains is drawn given its parents.
  void mark_relevant() {
    for (const Node& node : domain_.nodes)
      if (is_discrete(node) && placement(node).tree && (*state_)[node].propagated_state != kNoEvidence)
        reach(node);
    for (const Component& component : components_)
      for (const Node* node : discrete_members_of(root_of(component))) reach(*node);
    each_chain_table([&](const Table& table) {
      for (const Node* node : table.nodes) reach(*node);
    });
    while (!open_.empty()) {
      const Node& node = *open_.back();
      open_.pop_back();
      if (const Table* table = potential_of(node))
        for (const Node* member : table->nodes) reach(*member);
    }
  }

  // None of a decision that is made.
  const Table* potential_of(const Node& node) const noexcept {
    return (*state_)[node].policy_left_out ? nullptr : table_with_numbers(node);
  }

  template <class Visit>
  void each_chain_table(Visit visit) const {
    for (const auto& engine : state_->trees) {
      if (!engine->tree->has_chain_components) continue;
      for (size_t c = 0; c < engine->tree->clique_count(); ++c)
        for (const Table* table : engine->tree->cliques[c]->more_potentials) visit(*table);
    }
  }

  tv_status_t eliminate_relevant() {
    std::vector<const Node*> nodes;
    for (const Node& node : domain_.nodes)
      if (is_relevant_[index_of(node)] && !is_observed_[index_of(node)]) nodes.push_back(&node);
    BackwardElimination elimination(domain_, nodes, states_.data());
    for (const Node& node : domain_.nodes) {
      if (!is_relevant_[index_of(node)]) continue;
      if (const Table* table = potential_of(node)) elimination.add(*table);
      const NodeState& record = (*state_)[node];
      if (record.propagated_state == kFindingVector) elimination.add(node, propagated_finding(node, record));
    }
    each_chain_table([&](const Table& table) { elimination.add(table); });
    for (const Component& component : components_) {
      const CgClique& root = root_of(component);
      sampler_.densities_.push_back(densities_of(root));
      elimination.add(root.clique->members(), root.discrete, sampler_.densities_.back().get());
    }
    if (tv_status_t status = elimination.run(sampler_.rows_, sampler_.backward_)) return status;
    for (const BackwardTables::Draw& draw : sampler_.backward_.draws) {
      is_done_[index_of(*draw.node)] = 1;
      sampler_.steps_.push_back({index_of(*draw.node), draw.table});
    }
    return tv_status_none;
  }

  struct Component {
    CgEngine* engine;
    size_t index;
  };
  static const CgClique& root_of(const Component& component) noexcept {
    return component.engine->cliques[component.engine->components[component.index].cliques.front()];
  }
  static std::span<Node* const> discrete_members_of(const CgClique& clique) noexcept {
    return {clique.clique->members().begin(), clique.discrete};
  }

  static std::unique_ptr<WideNumber[]> densities_of(const CgClique& root) {
    std::unique_ptr<WideNumber[]> numbers(new WideNumber[root.size]);
    for (size_t i = 0; i < root.size; ++i)
      if (root.possible[i]) numbers[i] = wide_exponential(root.densities[i]);
    return numbers;
  }

  // ---- The others ----

  // Parents before children, otherwise in the order of the domain.
  void add_steps_in_order() {
    std::vector<size_t> waiting(domain_.node_count, 0);
    std::vector<const Node*> ready;
    const auto is_open = [&](const Node& node) { return is_drawn(node) && !is_done_[index_of(node)]; };
    for (const Node& node : domain_.nodes) {
      if (!is_open(node)) continue;
      waiting[index_of(node)] = static_cast<size_t>(std::count_if(
          node.parents.begin(), node.parents.end(), [&](const Node* p) { return is_open(*p); }));
      if (waiting[index_of(node)] == 0) ready.push_back(&node);
    }
    for (size_t next = 0; next < ready.size(); ++next) {
      const Node& node = *ready[next];
      add_step(node);
      for (const Node* child : node.children)
        if (is_open(*child) && --waiting[index_of(*child)] == 0) ready.push_back(child);
    }
  }

  void add_step(const Node& node) {
    if (is_continuous(node)) {
      sampler_.steps_.push_back({index_of(node), kNone, sampler_.regressions_.size()});
      sampler_.regressions_.emplace_back(node);
      return;
    }
    std::vector<Given> given;
    std::vector<RowFactor> factors;
    if (const Table* table = table_with_numbers(node)) {
      RowFactor factor;
      factor.numbers = table->data.data();
      size_t step = 1;
      for (size_t i = table->discrete_count; i-- > 0; step *= table->nodes[i]->number_of_states) {
        const Node& member = *table->nodes[i];
        if (is_observed_[index_of(member)]) {
          factor.offset += states_[index_of(member)] * step;
          continue;
        }
        factor.members.push_back({index_of(member), step});
        if (&member != &node) given.push_back({index_of(member), member.number_of_states});
      }
      factors.push_back(std::move(factor));
    }
    sampler_.steps_.push_back({index_of(node), sampler_.rows_.add(node, given, factors)});
  }

  void add_components() {
    for (const Component& component : components_)
      for (const size_t clique : component.engine->components[component.index].cliques) {
        sampler_.steps_.push_back({kNone, kNone, sampler_.cliques_.size()});
        sampler_.cliques_.emplace_back(*component.engine, component.engine->cliques[clique]);
      }
  }

  Domain& domain_;
  Sampler& sampler_;
  InferenceState* state_;
  std::vector<size_t> states_;  // observed ones
  std::vector<unsigned char> is_relevant_, is_observed_, is_done_;
  std::vector<const Node*> open_;
  std::vector<Component> components_;
};

namespace {

// ---- Whether there is something to draw from ----

tv_status_t check_equilibrium(const Domain& domain) noexcept {
  if (any_tree(domain, is_invalid)) return refuse_without_equilibrium();
  if (any_tree(domain, [](const TreeEngine& engine) { return engine.tables_touched; }))
    return refuse(tv_status_no_equilibrium, "tables have changed: propagate the network first");
  if (any_tree(domain, [](const TreeEngine& engine) { return !holds_marginals(engine); }))
    return refuse(tv_status_usage,
                  "drawing needs sum equilibrium with normal evidence: propagate the network so first");
  return tv_status_none;
}

// The tables as compilation would find them.
tv_status_t prepare_tables(Domain& domain) {
  for (Node& node : domain.nodes) {
    if (!is_drawn(node)) continue;
    if (evidence_is_entered(node, node.entered))
      return refuse(tv_status_not_compiled, "drawing given evidence needs a compiled network");
    if (node.model && depends_on_results(node))
      return refuse(tv_status_not_compiled,
                    "the table of node \"%s\" depends on results: compile the network to draw from it",
                    shown_name(node));
    if (node.model)
      if (tv_status_t status = refresh_table(node)) return status;
    if (const Table* table = table_with_numbers(node))
      if (tv_status_t status = check_conditional_probability_potential(*table, true)) return status;
  }
  if (domain.chain_potentials.empty()) return tv_status_none;
  return refuse(tv_status_not_compiled, "drawing along undirected links needs a compiled network");
}

}  // namespace

tv_status_t Sampler::make(Domain& domain, bool is_for_many, std::unique_ptr<Sampler>& sampler) {
  std::unique_ptr<Sampler> made(new Sampler(domain, is_for_many));
  if (tv_status_t status = SamplerBuilder(domain, *made).build()) return status;
  sampler = std::move(made);
  return tv_status_none;
}

void Sampler::draw(size_t* states, double* values, RandomGenerator& random) noexcept {
  for (const auto& [node, state] : observed_states_) states[node] = state;
  for (const auto& [node, value] : observed_values_) values[node] = value;
  for (const Step& step : steps_) {
    if (step.table != kNone)
      states[step.node] = rows_.draw(step.table, states, random);
    else if (step.node != kNone)
      values[step.node] = regressions_[step.draw].draw(states, values, random);
    else
      cliques_[step.draw].draw(states, values, random);
  }
}

tv_status_t find_sampler(Domain& domain, bool is_for_many, std::shared_ptr<Sampler>& sampler) {
  std::unique_ptr<Sampler> made;
  if (!is_compiled(domain)) {
    if (tv_status_t status = prepare_tables(domain)) return status;
    if (tv_status_t status = Sampler::make(domain, is_for_many, made)) return status;
    sampler = std::move(made);
    return tv_status_none;
  }
  if (tv_status_t status = check_equilibrium(domain)) return status;
  std::shared_ptr<void>& kept = own_state(domain).sampler;
  sampler = std::static_pointer_cast<Sampler>(kept);
  if (sampler && sampler->is_up_to_date(domain)) return tv_status_none;
  if (tv_status_t status = Sampler::make(domain, true, made)) return status;
  sampler = std::move(made);
  kept = sampler;
  return tv_status_none;
}

}  // namespace tv
