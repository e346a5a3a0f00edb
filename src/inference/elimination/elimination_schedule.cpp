// The decision whether a propagation runs by elimination, and over which cliques.

#include "inference/elimination/elimination_schedule.h"

#include <algorithm>

#include "inference/compress/sparse_tree.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/utility/utility_engine.h"

namespace tv {
namespace {

bool has_finding_on_one_state(const TreeEngine& engine) noexcept {
  return std::any_of(engine.tree->nodes.begin(), engine.tree->nodes.end(), [&](const Node* node) {
    return node->number_of_states == 1 && engine[*node].propagated_state == kFindingVector;
  });
}

// Entries of the clique tables reduced by the evidence; a tree with sparse tables does not reduce them.
double reduced_entries(const TreeEngine& engine) noexcept {
  double entries = 0.0;
  for (size_t c = 0; c < engine.tree->clique_count(); ++c) {
    if (engine.tree->sparse) {
      const bool is_sparse = engine.cliques[c].sparse != nullptr;
      const size_t cost = is_sparse ? limits.sparse_cost : 1;
      entries += static_cast<double>(stored_size(*engine.tree->cliques[c]) * cost);
      continue;
    }
    double size = 1.0;
    for (const Node* node : engine.tree->cliques[c]->members())
      if (is_unobserved(engine, *node)) size *= static_cast<double>(node->number_of_states);
    entries += size;
  }
  return entries;
}

constexpr double kGood = 0.25;  // of the entries of the compiled tree: no other order is tried

// Whether an elimination schedule may pay: the reduced tables must have many entries for each node, since
// below that building the schedule takes longer than it saves. Where they are not very many, only a pattern
// that comes again is worth it. The first propagation without evidence never is, since later evidence is
// absorbed into its tables. A query decides by the pattern alone, so that its answers do not depend on which
// cases it has seen before, to the last bit.
bool may_plan(TreeEngine& engine, double nodes) noexcept {
  const ScheduleCache& cache = *engine.schedules;
  const double least = static_cast<double>(limits.entries_for_elimination);
  if (least == 0.0) return true;
  const bool is_large = engine.entries >= static_cast<double>(limits.entries_for_first) * nodes &&
                        engine.evidence_to_propagate > 0;
  if (!engine.state->is_own()) return is_large && engine.elimination_pays;
  if (cache.needs_tables() || engine.entries < least * nodes) return false;
  if (cache.admits(ScheduleCache::Kind::elimination)) return true;
  if (!is_large) return false;
  return engine.patterns_to_pass == 0 || --engine.patterns_to_pass == 0;
}

EliminationTree best_elimination(const TreeEngine& engine, double entries) {
  const ReducedGraph graph = reduced_moral_graph(engine);
  const std::vector<uint32_t> order = least_fill_order(graph);
  if (order.size() < graph.size()) return {};
  EliminationTree best = eliminate(graph, order);
  if (best.entries <= kGood * entries) return best;
  EliminationTree other = eliminate(graph, compiled_order(graph));
  return other.entries < best.entries ? std::move(other) : std::move(best);
}

double saved_for_each_clique(const EliminationTree& graph, double entries) noexcept {
  return (entries - graph.entries) / static_cast<double>(graph.cliques.size());
}

// Whether the reduced tables are large enough that other cliques may be worth looking for.
bool has_enough_entries(const TreeEngine& engine, double entries, bool comes_again) noexcept {
  const double least = static_cast<double>(limits.entries_for_elimination);
  const auto for_first = static_cast<double>(limits.entries_for_first);
  const double for_each_node = comes_again ? least : std::min(least, 1.0) * for_first;
  return entries >= for_each_node * static_cast<double>(engine.tree->nodes.size());
}

bool is_worth_it(const TreeEngine& engine, double entries, double saved, bool comes_again) noexcept {
  return has_enough_entries(engine, entries, comes_again) &&
         (limits.entries_for_elimination == 0 ||
          saved >= static_cast<double>(comes_again ? limits.saved_again : limits.saved_at_once));
}

std::shared_ptr<const CachedSchedule> build_over(const PropagationRequest& request,
                                                 const EliminationTree& graph, double entries) {
  if (graph.cliques.empty()) return nullptr;
  std::unique_ptr<EliminationSchedule> schedule = build_elimination_over(request, graph);
  if (!schedule) return nullptr;
  schedule->entries = entries;
  schedule->saved = saved_for_each_clique(graph, entries);
  return request.engine.schedules->hold(std::move(schedule));
}

}  // namespace

size_t EliminationSchedule::bytes() const noexcept {
  const auto bytes_of = [](const auto&... lists) { return ((lists.capacity() * sizeof(lists[0])) + ...); };
  return memory.bytes() + bytes_of(potentials, maps, constants, products, collects, distributes,
                                   outgoing_messages, beliefs, parents);
}

bool EliminationSchedule::holds(const JunctionTree& tree) const noexcept {
  return std::all_of(potentials.begin(), potentials.end(), [&](const Potential& potential) {
    const Table* const table = tree.nodes[potential.node]->table.get();
    return potential.layout == (table ? table->layout : kNone);
  });
}

bool may_eliminate(const PropagationRequest& request) noexcept {
  const TreeEngine& engine = request.engine;
  return request.mode == tv_evidence_normal && !engine.tree->has_continuous &&
         !engine.tree->has_chain_components && !request.engine.utilities &&
         engine.tree->domain->counters.decision == 0 && engine.approximation_constant == 1.0;
}

// For some sets of one node in five, of which one alone does not decide.
bool elimination_pays(TreeEngine& engine) {
  constexpr uint32_t kSets = 5, kOneIn = 5;
  const std::vector<Node*>& nodes = engine.tree->nodes;
  if (engine.entries < static_cast<double>(limits.entries_for_first * nodes.size())) return false;
  uint32_t paying = 0, random = 1;
  for (uint32_t set = 0; set < kSets; ++set) {
    for (const Node* node : nodes)
      if (((random = random * 1664525u + 1013904223u) >> 16) % kOneIn == 0)
        engine[*node].propagated_state = 0;
    const double entries = reduced_entries(engine);
    const EliminationTree graph = best_elimination(engine, entries);
    paying += !graph.cliques.empty() &&
              saved_for_each_clique(graph, entries) >= static_cast<double>(limits.saved_at_once);
    for (const Node* node : nodes) engine[*node].propagated_state = kNoEvidence;
  }
  return paying > 1;
}

std::shared_ptr<const CachedSchedule> build_any_elimination(const PropagationRequest& request) {
  TreeEngine& engine = request.engine;
  if (has_finding_on_one_state(engine)) return nullptr;
  if (auto shared = engine.schedules->find_shared_elimination()) return shared;
  const double entries = reduced_entries(engine);
  return build_over(request, best_elimination(engine, entries), entries);
}

std::shared_ptr<const CachedSchedule> build_elimination(const PropagationRequest& request) {
  TreeEngine& engine = request.engine;
  if (!may_plan(engine, static_cast<double>(engine.tree->nodes.size())) || has_finding_on_one_state(engine))
    return nullptr;
  const bool comes_again =
      engine.state->is_own() && engine.schedules->admits(ScheduleCache::Kind::elimination);
  auto shared = engine.schedules->find_shared_elimination();
  if (shared && is_worth_it(engine, shared->elimination->entries, shared->elimination->saved, comes_again))
    return shared;
  const double entries = reduced_entries(engine);
  const bool is_large = has_enough_entries(engine, entries, comes_again);
  const EliminationTree graph = is_large ? best_elimination(engine, entries) : EliminationTree{};
  if (!graph.cliques.empty() &&
      is_worth_it(engine, entries, saved_for_each_clique(graph, entries), comes_again))
    return build_over(request, graph, entries);
  if (comes_again)
    engine.schedules->note_elimination_in_vain();  // it would not be better the next time
  else if (is_large)
    engine.patterns_to_pass = static_cast<uint32_t>(limits.pause);
  return nullptr;
}

bool may_run(const TreeEngine& engine, const EliminationSchedule& schedule) noexcept {
  if (engine.state->is_own() || limits.entries_for_elimination == 0) return true;
  return engine.elimination_pays && is_worth_it(engine, schedule.entries, schedule.saved, false);
}

}  // namespace tv
