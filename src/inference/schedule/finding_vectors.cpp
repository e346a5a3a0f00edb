#include "inference/schedule/finding_vectors.h"

#include <algorithm>

#include "inference/elimination/elimination_schedule.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/schedule/subtree.h"

namespace tv {
namespace {

// The vectors with which the schedule multiplies.
void fill_vectors(TreeEngine& engine) noexcept {
  for (const Node* node : engine.tree->nodes) {
    const ptrdiff_t state = engine[*node].propagated_state;
    tv_number_t* const vector = engine.likelihood_ratio(*node);
    if (state == kFindingVector)
      std::copy_n(engine.propagated_finding(*node), node->number_of_states, vector);
    else
      std::fill_n(vector, node->number_of_states, state == kNoEvidence ? 1.0f : 0.0f);
    if (state >= 0) vector[state] = 1.0f;
  }
}

// The tables get their full shapes before somebody looks at them.
void observe_nothing(TreeEngine& engine) noexcept {
  for_each_with_evidence(
      engine, [&](const Node& node) { engine[node].observed_state = engine[node].next_observed_state = -1; });
  engine.shapes_are_stale = true;
}

// Gives the tree all findings and targets, and marks its cliques; returns the root.
size_t prepare(TreeEngine& engine) noexcept {
  refresh_shapes(engine);
  for (CliqueWork& work : engine.cliques) work.findings.clear();
  for (const Node* node : engine.tree->nodes) {
    const Clique& home = *placement(*node).home;
    engine.cliques[home.position].findings.push_back(home.members().position(node));
  }
  target_all_beliefs(engine);
  return _tv_identify_subtree(engine, kNone);
}

// Builds the schedule, and caches it if there are to be more such propagations.
tv_status_t build_and_run(const PropagationRequest& request) {
  TreeEngine& engine = request.engine;
  const size_t root = prepare(engine);
  ScheduleLists lists;
  if (!engine.schedules->admits_for_any_evidence() || !reserve_schedule(*engine.tree, lists))
    return _tv_jt_global_propagate(request, root);
  const Schedule schedule = build_schedule(request, root, lists);
  engine.schedules->insert_for_any_evidence(engine, lists, request.equilibrium);
  return run_schedule(request, schedule);
}

}  // namespace

// Without evidence most messages are all ones and need not be computed. Lazy cliques multiply by likelihoods
// alone: known states reduce their factors.
bool takes_finding_vectors(const PropagationRequest& request) noexcept {
  const TreeEngine& engine = request.engine;
  return limits.entries_for_elimination > 0 &&
         engine.entries <= static_cast<double>(limits.finding_vectors) && !engine.has_lazy &&
         may_eliminate(request) && engine.domain->required_instantiations.empty() &&
         engine.evidence_to_propagate > 0;
}

tv_status_t propagate_finding_vectors(const PropagationRequest& request) {
  TreeEngine& engine = request.engine;
  fill_vectors(engine);
  observe_nothing(engine);
  if (const Schedule* schedule = engine.schedules->for_any_evidence(engine, request.equilibrium))
    return run_schedule(request, *schedule);
  const tv_status_t status = build_and_run(request);
  for (CliqueWork& work : engine.cliques) work.findings.clear();
  return status;
}

}  // namespace tv
