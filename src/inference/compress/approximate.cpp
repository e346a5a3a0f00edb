#include "inference/compress/approximate.h"

#include <algorithm>
#include <span>

#include "api/boundary.h"
#include "api/float_environment.h"
#include "inference/answers/queries.h"
#include "inference/calibrate_tables.h"
#include "inference/evidence/evidence.h"
#include "inference/explain_failure.h"
#include "inference/reset.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/subtree.h"

namespace tv {
namespace {

// The sum of the entries below a threshold.
double sum_below(std::span<const float> entries, double threshold) noexcept {
  double sum = 0.0;
  for (const float entry : entries)
    if (static_cast<double>(entry) < threshold) sum += static_cast<double>(entry);
  return sum;
}

// The first of epsilon / 2, epsilon / 4, ... below which the entries sum to less than epsilon.
double threshold_for(std::span<const float> entries, double epsilon) noexcept {
  double threshold = epsilon;
  do threshold /= 2;
  while (sum_below(entries, threshold) >= epsilon);
  return threshold;
}

void approximate_table(std::span<float> entries, double epsilon) noexcept {
  const double threshold = threshold_for(entries, epsilon);
  for (float& entry : entries)
    if (static_cast<double>(entry) < threshold) entry = 0.0f;
}

void approximate_cliques(TreeEngine& engine, double epsilon) noexcept {
  clear_marks(engine);
  for (size_t c = 0; c < engine.cliques.size(); ++c) {
    CliqueWork& work = engine.cliques[c];
    approximate_table({work.table.numbers, work.table.shape.size}, epsilon);
    ++work.version;
    mark_clique(engine, c);
  }
}

// The mass that is left goes into the constants.
tv_status_t propagate_rest(TreeEngine& engine) {
  const double former = engine.constant;
  engine.step_constant = 1.0;
  engine.step_log_constant = 0.0;
  target_all_beliefs(engine);
  const FloatEnvironment environment;
  const PropagationRequest request = {engine, tv_equilibrium_sum, tv_evidence_normal, false, true};
  tv_status_t status = _tv_jt_global_propagate(request, _tv_identify_subtree(engine, kNone));
  target_no_beliefs(engine);
  if (status) return status == kOutOfRange ? tv_status_inconsistency_or_underflow : status;
  engine.approximation_constant *= engine.constant / former;
  return tv_status_none;
}

// Every clique gets a table of its own, which changes no answer.
tv_status_t prepare_tables(TreeEngine& engine) {
  if (tv_status_t status = calibrate_tables(engine)) return status;
  refresh_shapes(engine);
  materialize_all_tables(engine);
  return tv_status_none;
}

}  // namespace

tv_status_t approximate(Domain& domain, double epsilon) {
  InferenceState& state = own_state(domain);
  for (const auto& engine : state.trees)
    if (tv_status_t status = prepare_tables(*engine)) return status;
  StateRecovery recovery(state);
  for (const auto& engine : state.trees) {
    engine->is_extended = false;
    approximate_cliques(*engine, epsilon);
  }
  for (const auto& engine : state.trees)
    if (tv_status_t status = propagate_rest(*engine)) return status;
  recovery.dismiss();
  return tv_status_none;
}

double approximation_constant(const Domain& domain) noexcept {
  double constant = 1.0;
  for (const auto& engine : own_state(domain).trees) constant *= engine->approximation_constant;
  return constant;
}

}  // namespace tv
