// When a propagation goes without tables, and over which cliques.

#include "inference/elimination/elimination_schedule.h"

#include <algorithm>

#include "inference/schedule/schedule_cache.h"
#include "inference/utility/utility_engine.h"

namespace tv {
namespace {

bool has_finding_on_one_state(const JunctionTree& tree) noexcept {
  return std::any_of(tree.nodes.begin(), tree.nodes.end(), [](const Node* node) {
    return node->number_of_states == 1 && compiled(*node).propagated_state == kFindingVector;
  });
}

// Entries of the cliques that agree with the evidence.
double restricted_entries(const JunctionTree& tree) noexcept {
  double entries = 0.0;
  for (size_t c = 0; c < tree.clique_count(); ++c) {
    double size = 1.0;
    for (const Node* node : tree.cliques[c]->members())
      if (is_unobserved(*node)) size *= static_cast<double>(node->number_of_states);
    entries += size;
  }
  return entries;
}

constexpr double kEntriesForFirst = 384.0;  // for each node, of a pattern that has not been seen before
constexpr double kSavedAtOnce = 400.0;  // entries for each clique that a plan for one propagation has to save
constexpr double kSaved = 100.0;        // the same where the pattern comes again
constexpr double kGood = 0.25;          // of the entries of the compiled tree: no other order is tried
constexpr uint32_t kPause = 16;

// A plan is made where the tables that agree with the evidence have many entries for each node: below, making
// it takes longer than it saves. Where they are not very many, only for a pattern that comes again.
//
// Whether it may be worth while to look for a plan. Without evidence tables are what changes start from:
// there is none the first time.
bool may_plan(TreeEngine& engine, double nodes) noexcept {
  const ScheduleCache& cache = *engine.schedules;
  const double least = static_cast<double>(limits.entries_for_plan);
  if (least == 0.0) return true;
  if (cache.wants_tables() || engine.entries < least * nodes) return false;
  if (cache.wants_to_keep(ScheduleCache::Kept::plan)) return true;
  if (engine.entries < kEntriesForFirst * nodes || engine.tree->evidence_to_propagate == 0) return false;
  return engine.patterns_to_pass == 0 || --engine.patterns_to_pass == 0;
}

EliminationTree best_elimination(const JunctionTree& tree, double entries) {
  const ReducedGraph graph = reduced_moral_graph(tree);
  const std::vector<uint32_t> order = least_fill_order(graph);
  if (order.size() < graph.size()) return {};
  EliminationTree best = eliminate(graph, order);
  if (best.entries <= kGood * entries) return best;
  EliminationTree other = eliminate(graph, compiled_order(graph));
  return other.entries < best.entries ? std::move(other) : std::move(best);
}

}  // namespace

void Arena::add_chunk(size_t least) {
  const size_t size = std::max<size_t>(least, 32768);
  chunks_.push_back(std::unique_ptr<unsigned char[]>(new unsigned char[size]));
  end_ = chunks_.back().get() + size;
  left_ = size;
  bytes_ += size;
}

size_t EliminationSchedule::bytes() const noexcept {
  return memory.bytes() + potentials.capacity() * sizeof(Potential) + uses.capacity() * sizeof(Use) +
         products.capacity() * sizeof(Product) + collects.capacity() * sizeof(Collect) +
         distributes.capacity() * sizeof(Distribute) + outgoing_messages.capacity() * sizeof(Outgoing) +
         beliefs.capacity() * sizeof(Belief) + parents.capacity() * sizeof(uint32_t) + lost.capacity() +
         (factors.size() + inverses.size() + totals.size() + sums.size()) * sizeof(double);
}

bool EliminationSchedule::holds() const noexcept {
  return std::all_of(potentials.begin(), potentials.end(), [](const Potential& potential) {
    return potential.layout == (potential.node->table ? potential.node->table->layout : kNone);
  });
}

bool may_eliminate(const PropagationRequest& request) noexcept {
  const JunctionTree& tree = *request.engine.tree;
  return request.mode == tv_evidence_normal && !tree.has_continuous && !tree.has_chain_components &&
         !request.engine.utilities && tree.domain->counters.decision == 0 &&
         tree.approximation_constant == 1.0;
}

std::unique_ptr<EliminationSchedule> build_any_elimination(const PropagationRequest& request) {
  const JunctionTree& tree = *request.engine.tree;
  if (has_finding_on_one_state(tree)) return nullptr;
  const EliminationTree graph = best_elimination(tree, restricted_entries(tree));
  return graph.cliques.empty() ? nullptr : write_elimination(request, graph);
}

std::unique_ptr<EliminationSchedule> build_elimination(const PropagationRequest& request) {
  TreeEngine& engine = request.engine;
  const JunctionTree& tree = *engine.tree;
  const double nodes = static_cast<double>(tree.nodes.size());
  const double least = static_cast<double>(limits.entries_for_plan);
  if (!may_plan(engine, nodes) || has_finding_on_one_state(tree)) return nullptr;
  const bool comes_again = engine.schedules->wants_to_keep(ScheduleCache::Kept::plan);
  const double entries = restricted_entries(tree);
  const bool is_large = entries >= (comes_again ? least : std::min(least, 1.0) * kEntriesForFirst) * nodes;
  const EliminationTree graph = is_large ? best_elimination(tree, entries) : EliminationTree{};
  const double saved = (entries - graph.entries) / static_cast<double>(graph.cliques.size());
  if (!graph.cliques.empty() && (least == 0.0 || saved >= (comes_again ? kSaved : kSavedAtOnce)))
    return write_elimination(request, graph);
  if (comes_again)
    engine.schedules->want_tables();  // nor will it be better the next time
  else if (is_large)
    engine.patterns_to_pass = kPause;
  return nullptr;
}

}  // namespace tv
