// The inward pass: every clique combines the regressions of its own nodes with those that its children send
// about the nodes they share with it, for each configuration that is possible.

#include <algorithm>
#include <cmath>

#include "inference/answers/clique_view.h"
#include "inference/gaussian/cg_engine.h"

namespace tv {
namespace {

class Collector {
 public:
  Collector(CgEngine& engine, CgClique& clique) noexcept : engine_(engine), clique_(clique) {
    refresh_cg_potentials(engine, clique);
    size_t table = 0;
    for (const CgPotential& potential : clique.potentials) engine.walk_steps[table++] = potential.steps;
    for (size_t child = clique.first_child; child != kNone; child = engine.cliques[child].next_sibling)
      engine.walk_steps[table++] = engine.cliques[child].parent_steps;
    tables_ = table;
  }

  void run() noexcept {
    for (CgWalk walk(engine_, *clique_.clique, tables_); !walk.done(); walk.next())
      if (clique_.possible[walk.index()] && !clique_.collected[walk.index()]) collect(walk);
  }

 private:
  void collect(const CgWalk& walk) noexcept {
    const size_t index = walk.index();
    block_ = clique_.regressions + index * cg_size_for(clique_.count);
    density_ = {};
    flags_ = kCgCollected;
    clear_regressions(block_, clique_.count);
    size_t table = 0;
    for (const CgPotential& potential : clique_.potentials) add_potential(potential, walk.offset(table++));
    for (size_t child = clique_.first_child; child != kNone; child = engine_.cliques[child].next_sibling)
      add_message(engine_.cliques[child], walk.offset(table++));
    note_observed();
    clique_.densities[index] = density_.logarithm;
    if (density_.vanishing_variance) flags_ |= kCgVanishing;
    if (density_.low) flags_ |= kCgLow;
    clique_.collected[index] = flags_;
  }

  CgForm empty_form() noexcept {
    std::fill_n(engine_.coefficients.data(), clique_.count, 0.0);
    return {engine_.coefficients.data(), 0.0, 0.0};
  }

  // The term of an observed node moves to the other side of the equation.
  void add_term(CgForm& form, size_t node, size_t position, double coefficient) noexcept {
    if (engine_.nodes[node].observed)
      form.constant -= coefficient * engine_.nodes[node].value;
    else
      form.coefficients[position] += coefficient;
  }

  void add_potential(const CgPotential& potential, size_t index) noexcept {
    const Table* table = engine_.nodes[potential.node].node->table.get();
    const double* from = table ? table->cg_data.data() + index * table->cg_size : nullptr;
    CgForm form = empty_form();
    form.constant = from ? from[potential.intercept] : 0.0;
    form.variance = from ? from[potential.variance] : 1.0;
    add_term(form, potential.node, potential.position, 1.0);
    if (from)
      for (const CgPotential::Term& term : potential.terms)
        add_term(form, term.node, term.position, -from[term.slot]);
    combine_form(block_, clique_.count, form, density_);
  }

  void add_message(const CgClique& child, size_t index) noexcept {
    const double* from = child.regressions + index * cg_size_for(child.count);
    for (size_t s = 0; s < child.shared; ++s) {
      const double* run = cg_run(from, s);
      if (run[1 + s] < 0.0 || engine_.nodes[child.nodes[s]].observed) continue;
      CgForm form = empty_form();
      form.constant = run[0];
      form.variance = run[1 + s];
      form.coefficients[child.in_parent[s]] = 1.0;
      for (size_t k = 0; k < s; ++k) form.coefficients[child.in_parent[k]] -= run[1 + k];
      combine_form(block_, clique_.count, form, density_);
    }
    density_.logarithm += child.densities[index];
    flags_ |= child.collected[index];
  }

  void note_observed() noexcept {
    for (size_t i = 0; i < clique_.count; ++i) {
      if (!engine_.nodes[clique_.nodes[i]].observed) continue;
      double* run = cg_run(block_, i);
      run[0] = engine_.nodes[clique_.nodes[i]].value;
      run[1 + i] = 0.0;
    }
  }

  CgEngine& engine_;
  CgClique& clique_;
  size_t tables_ = 0;
  double* block_ = nullptr;
  CgDensity density_;
  unsigned char flags_ = 0;
};

// While no densities have been multiplied in, an entry of zero is impossible. Later it may have underflowed,
// and only observed states rule anything out.
void find_possible_in_root(CgEngine& engine, CgComponent& component) noexcept {
  CgClique& root = engine.cliques[component.cliques.front()];
  if (engine.holds_densities)
    read_allowed(*engine.discrete, *root.clique, engine.weights.data());
  else
    read_table(*engine.discrete, *root.clique, engine.weights.data());
  const bool narrows = engine.holds_densities && component.resets == engine.resets;
  for (size_t i = 0; i < root.size; ++i)
    root.possible[i] = engine.weights[i] > 0.0f && (!narrows || root.possible[i]);
  component.resets = engine.resets;
}

// From the root outwards: a configuration of a child is possible if some possible configuration of its parent
// agrees with it.
void find_possible(CgEngine& engine, CgComponent& component) noexcept {
  find_possible_in_root(engine, component);
  for (size_t c : component.cliques.subspan(1)) {
    CgClique& child = engine.cliques[c];
    const CgClique& parent = engine.cliques[child.parent];
    std::fill_n(child.possible, child.size, 0);
    engine.walk_steps[0] = child.parent_steps;
    for (CgWalk walk(engine, *parent.clique, 1); !walk.done(); walk.next())
      child.possible[walk.offset(0)] |= parent.possible[walk.index()];
  }
}

}  // namespace

void mark_stale(CgEngine& engine, const CgNode& node) noexcept {
  engine.cliques[node.assigned].stale = true;
  for (const Node* child : node.node->children)
    if (is_continuous(*child)) engine.cliques[cg_node(engine, *child).assigned].stale = true;
}

void forget_stale_regressions(CgEngine& engine) noexcept {
  for (size_t c = engine.cliques.size(); c-- > 0;) {
    CgClique& clique = engine.cliques[c];
    if (!clique.stale) continue;
    clique.stale = false;
    std::fill_n(clique.collected, clique.size, 0);
    if (clique.parent != kNone)
      engine.cliques[clique.parent].stale = true;
    else
      engine.components[clique.component].changed = true;
  }
}

void forget_all_regressions(CgEngine& engine) noexcept {
  std::fill(engine.flags.begin(), engine.flags.end(), 0);
  for (CgComponent& component : engine.components) component.changed = true;
}

tv_status_t collect_component(CgEngine& engine, size_t component, ProgressMeter* progress) noexcept {
  CgComponent& part = engine.components[component];
  if (part.collected == engine.round) return tv_status_none;
  find_possible(engine, part);
  for (size_t c = part.cliques.size(); c-- > 0;) {
    if (progress)
      if (tv_status_t status = progress->advance()) return status;
    Collector(engine, engine.cliques[part.cliques[c]]).run();
  }
  part.collected = engine.round;
  return tv_status_none;
}

}  // namespace tv
