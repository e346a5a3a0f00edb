#include "inference/schedule/run_operation.h"

#include <algorithm>
#include <cmath>

#include "api/float_environment.h"
#include "inference/evidence/findings_marginal.h"
#include "inference/schedule/lazy_clique.h"
#include "tables/kernels/array_kernels.h"
#include "tables/kernels/double_pass.h"
#include "tables/kernels/number_bounds.h"

namespace tv {
namespace {

// Maps every entry of a table onto one number.
struct ScalarIndexMap : IndexMap {
  explicit ScalarIndexMap(const Shape& shape) noexcept {
    if (shape.is_sparse()) return;
    steps = no_steps;
    inner = nest;
    finish_index_map(*this, shape);
  }
  ScalarIndexMap(const ScalarIndexMap&) = delete;
  ScalarIndexMap& operator=(const ScalarIndexMap&) = delete;

  size_t no_steps[64] = {};
  Dimension nest[64];
};

}  // namespace

// ---- Operations ----

tv_status_t OperationRunner::run(const Workspace& workspace, const Operation& operation,
                                 CollectOutcome& outcome) {
  switch (operation.kind) {
    case OperationKind::collect:
      return collect(workspace, operation, outcome);
    case OperationKind::root:
      return collect_root(workspace, operation, outcome);
    case OperationKind::pass:
      return run_table_pass(workspace, operation);
    case OperationKind::separator_pass:
      return run_separator_pass(workspace, operation), tv_status_none;
    case OperationKind::message:
      return send(workspace, operation);
    case OperationKind::belief:
      return store_belief(workspace, operation);
  }
  return tv_status_error;
}

// ---- Passes over a clique's table ----

// A pass over a lazy clique. If a product leaves the range of floats, the pass is repeated in doubles; false
// where these do not suffice. `clear` sets the accumulators to zero.
template <class Clear>
bool OperationRunner::run_over_products(const Workspace& workspace, const Operation& operation, Clear clear) {
  const unsigned earlier = range_flags();
  clear_range_flags();
  clear();
  const Step* const steps = bind_steps(workspace, operation);
  const bool needs_doubles = operation.formed > limits.most_updates;
  if (!needs_doubles) run_steps(workspace, operation, steps, operation.step_count);
  if (needs_doubles || range_flags()) {
    clear_range_flags();
    clear();
    run_double_pass(operation.shape, steps, operation.step_count);
  }
  const bool succeeds = !range_flags();
  raise_range_flags(earlier);
  return succeeds;
}

void OperationRunner::run_steps(const Workspace& workspace, const Operation& operation, const Step* steps,
                                size_t count) {
  if (count == 0) return;
  run_pass(operation.shape, work(operation).table.numbers, steps, count, workspace.settings);
  work(operation).initialized = true;
  if (!steps->target) ++work(operation).version;
}

tv_status_t OperationRunner::run_table_pass(const Workspace& workspace, const Operation& operation) {
  const auto clear = [&] {
    clear_array(workspace.totals[kMessageTotals], operation.clear_totals, workspace.settings);
    std::fill_n(workspace.totals[kBeliefTotals], operation.clear_beliefs, 0.0);
  };
  if (operation.formed > 0 && work(operation).lazy)
    return run_over_products(workspace, operation, clear) ? tv_status_none : kOutOfRange;
  clear();
  const Step* const steps = bind_steps(workspace, operation);
  if (operation.formed > 0 && !operation.repeats) bring_up_to_date(workspace, operation, steps);
  run_steps(workspace, operation, steps + operation.formed, operation.step_count - operation.formed);
  return tv_status_none;
}

// The schedule was built while the clique was lazy, but its table is stored by now: it lacks only the latest
// update.
void OperationRunner::bring_up_to_date(const Workspace& workspace, const Operation& operation,
                                       const Step* factor) {
  if (operation.link == Operation::kNoLink) {
    const ScalarIndexMap map(operation.shape);
    const Step normalize = {StepKind::multiply, &map, &engine_.inverse};
    run_steps(workspace, operation, &normalize, 1);
    return;
  }
  const float* message = work(operation).links[operation.link].received;
  while (factor->operand != message) ++factor;
  const Step update = {StepKind::multiply, factor->map, message};
  run_steps(workspace, operation, &update, 1);
}

void OperationRunner::run_separator_pass(const Workspace& workspace, const Operation& operation) {
  std::fill_n(workspace.totals[kBeliefTotals], operation.clear_beliefs, 0.0);
  if (operation.step_count == 0) return;
  const ReducedTable& table = engine_.separators[work(operation).links[operation.link].separator].old;
  run_pass(operation.shape, table.numbers, bind_steps(workspace, operation), operation.step_count,
           workspace.settings);
}

// ---- Scaling factors ----

// A factor taken out of a clique's table goes into the constants instead.
void OperationRunner::note_factor(CliqueWork& work, double factor) noexcept {
  take_out_factor(engine_, factor);
  if (engine_.equilibrium != tv_equilibrium_none) work.conflict /= factor;
}

void OperationRunner::note_power(CliqueWork& work, int exponent) noexcept {
  engine_.factor_exponent += exponent;
  if (engine_.equilibrium != tv_equilibrium_none) work.conflict = std::ldexp(work.conflict, -exponent);
}

// Scales the table so that its largest entry lies between one and two: a power of two costs no precision.
tv_status_t OperationRunner::rescale_table(const Workspace& workspace, const Operation& operation,
                                           CollectOutcome& outcome) {
  const ScalarIndexMap map(operation.shape);
  double largest = 0.0;
  const Step find_largest = {StepKind::max, &map, nullptr, &largest};
  run_steps(workspace, operation, &find_largest, 1);
  if (tv_status_t status = _tv_check_norm_factor(largest)) return status;
  const int exponent = std::clamp(std::ilogb(largest), -126, 126);
  const float inverse = std::ldexp(1.0f, -exponent);
  outcome.exponent += exponent;
  const Step rescale = {StepKind::multiply, &map, &inverse};
  run_steps(workspace, operation, &rescale, 1);
  return tv_status_none;
}

// Runs the updates of a collecting clique a few at a time. Messages and potentials have entries of at most
// about one; a product of very many of them could underflow, so the table is rescaled in between.
tv_status_t OperationRunner::run_in_parts(const Workspace& workspace, const Operation& operation,
                                          const Step* steps, size_t together, CollectOutcome& outcome) {
  for (size_t first = 0; first < operation.updates; first += together) {
    if (first > 0)
      if (tv_status_t status = rescale_table(workspace, operation, outcome)) return status;
    run_steps(workspace, operation, steps + first, std::min<size_t>(together, operation.updates - first));
  }
  run_steps(workspace, operation, steps + operation.updates, operation.step_count - operation.updates);
  return tv_status_none;
}

// Brings a clique up to date and forms the outgoing marginal. Where products leave the range of normal floats
// and the mass of all of them is small, the table is formed again and rescaled after each step.
tv_status_t OperationRunner::update_and_marginalize(const Workspace& workspace, const Operation& operation,
                                                    double* totals, size_t size, CollectOutcome& outcome) {
  const size_t most = work(operation).lazy ? limits.most_rounded : limits.most_updates;
  if (operation.updates > most && !request_.is_approximate) return kOutOfRange;
  const bool can_repeat = operation.starts_anew && operation.updates > 1;
  tv_status_t status = tv_status_none;
  const auto clear = [&] {
    clear_array(totals, size, workspace.settings);
    if (request_.equilibrium == tv_equilibrium_max) engine_.table_sum = 0.0;  // otherwise unused
  };
  clear_range_flags();
  if (work(operation).lazy) {
    if (!run_over_products(workspace, operation, clear)) return kOutOfRange;
  } else {
    const Step* const steps = bind_steps(workspace, operation);
    for (size_t together : {limits.updates_together, size_t{1}}) {
      clear();
      outcome.exponent = 0;
      status = tv_status_none;
      if (operation.updates <= together)
        run_steps(workspace, operation, steps, operation.step_count);
      else
        status = run_in_parts(workspace, operation, steps, together, outcome);
      if (!range_flags()) break;
      if (!can_repeat || together == 1 || holds_mass(totals, size)) return kOutOfRange;
      clear_range_flags();
    }
  }
  work(operation).findings.clear();
  if (status == tv_status_none && request_.equilibrium == tv_equilibrium_max)
    status = _tv_check_norm_factor(engine_.table_sum);
  return status;
}

// ---- Collecting ----

tv_status_t OperationRunner::check_ratio(const RatioResult& result, bool has_past) const noexcept {
  if (weighs_findings_) return result.lost_entry ? tv_status_fast_retraction : tv_status_none;
  return has_past && result.sum > kLargestRatioSum ? tv_status_inconsistency_or_underflow : tv_status_none;
}

double OperationRunner::evidence_of_departing_members(const CliqueWork& work,
                                                      const Clique* target) const noexcept {
  double product = 1.0;
  for (const Node* node : *work.table.members) {
    const NodeState& data = engine_[*node];
    if (data.propagated_state != kNoEvidence && !(target && target->members().contains(node)))
      product *= probability_of_evidence(engine_, *node, data.propagated_state,
                                         engine_.propagated_finding(*node), request_.equilibrium);
  }
  return product;
}

void OperationRunner::marginalize_onto(const CliqueWork& work, const CliqueLink& link,
                                       double* totals) const noexcept {
  size_t steps[64];
  step_in_separator(work.table, link, engine_.separators[link.separator].old, steps);
  marginalize_with_findings(
      engine_, work.table, [&](size_t member) { return link.member_of[member] != kNoMember; }, steps,
      request_.equilibrium, totals);
}

// Sends the rescaled ratio of the new marginal and the old one to the clique towards the root.
tv_status_t OperationRunner::collect(const Workspace& workspace, const Operation& operation,
                                     CollectOutcome& outcome) {
  CliqueWork& here = work(operation);
  const CliqueLink& link = here.links[operation.link];
  if (tv_status_t status = update_and_marginalize(workspace, operation, workspace.totals[kMessageTotals],
                                                  operation.size, outcome))
    return status;
  if (weighs_findings_) marginalize_onto(here, link, workspace.totals[kMessageTotals]);
  SeparatorWork& separator = engine_.separators[link.separator];
  float* message = message_buffer(operation);
  const RatioResult result = (operation.has_past ? divide_array : take_array)(
      workspace.totals[kMessageTotals], separator.old.numbers, message, operation.size, workspace.settings);
  if (range_flags()) return kOutOfRange;
  if (tv_status_t status = check_ratio(result, operation.has_past)) return status;
  outcome.mass = request_.equilibrium == tv_equilibrium_sum ? result.sum : result.largest;
  outcome.largest = result.largest;
  if (tv_status_t status = _tv_check_norm_factor(outcome.mass)) return status;
  if (tv_status_t status = _tv_check_norm_factor(outcome.largest)) return status;
  scale_array(message, operation.size, 1.0 / outcome.largest, workspace.settings);
  if (range_flags()) return kOutOfRange;
  absorb_message(operation);
  return tv_status_none;
}

void OperationRunner::account_for(const Operation& operation, const CollectOutcome& outcome) noexcept {
  if (operation.kind != OperationKind::collect) return;
  CliqueWork& here = work(operation);
  CliqueWork& receiver = engine_.cliques[here.links[operation.link].neighbor];
  note_power(here, outcome.exponent);
  pass_conflict_on(here, receiver, outcome.mass);
  note_factor(receiver, outcome.largest);
}

float* OperationRunner::message_buffer(const Operation& operation) const noexcept {
  const CliqueLink& link = work(operation).links[operation.link];
  const CliqueWork& receiver = engine_.cliques[link.neighbor];
  return tv::message_buffer(receiver, receiver.links[link.back], engine_.separators[link.separator]);
}

void OperationRunner::absorb_message(const Operation& operation) const noexcept {
  const CliqueLink& link = work(operation).links[operation.link];
  CliqueWork& receiver = engine_.cliques[link.neighbor];
  tv::absorb_message(receiver, receiver.links[link.back], engine_.separators[link.separator], operation.size);
}

// A clique's conflict is measured by the mass of its message, but the message itself is scaled by its largest
// entry: an uninformative message then multiplies by ones, however many such messages there are.
void OperationRunner::pass_conflict_on(CliqueWork& from, CliqueWork& to, double mass) noexcept {
  if (engine_.equilibrium == tv_equilibrium_none) return;
  if (weighs_findings_) from.conflict *= evidence_of_departing_members(from, to.clique);
  to.conflict *= from.conflict;
  from.conflict /= mass;
}

// Brings the root up to date and finds the constant by which it will be normalised.
tv_status_t OperationRunner::collect_root(const Workspace& workspace, const Operation& operation,
                                          CollectOutcome& outcome) {
  CliqueWork& here = work(operation);
  if (tv_status_t status = update_and_marginalize(workspace, operation, &engine_.mass, 1, outcome))
    return status;
  note_power(here, outcome.exponent);
  if (tv_status_t status = normalize_root()) return status;
  if (engine_.equilibrium != tv_equilibrium_none) {
    here.conflict /= engine_.mass;
    if (weighs_findings_) here.conflict *= evidence_of_departing_members(here, nullptr);
    engine_.conflict = here.conflict;
  }
  if (here.lazy) normalize_factors(operation);
  return tv_status_none;
}

tv_status_t OperationRunner::normalize_root() noexcept {
  if (tv_status_t status = _tv_check_norm_factor(engine_.mass)) return status;
  engine_.factor_mantissa *= engine_.mass;
  set_step_constants(engine_, engine_.factor_mantissa, engine_.factor_exponent);
  engine_.knows_constants = true;
  engine_.inverse = static_cast<float>(1.0 / engine_.mass);
  return tv_status_none;
}

// Normalises a lazy root by scaling the smallest of its factors.
void OperationRunner::normalize_factors(const Operation& operation) noexcept {
  const ScheduleStep* const first = schedule_->steps + operation.first_step;
  const ScheduleStep* smallest = nullptr;
  const auto size = [&](const ScheduleStep& step) { return schedule_->maps[step.map].other_size; };
  for (const ScheduleStep* step = first; step < first + operation.formed; ++step) {
    const bool is_stored = step->place.buffer == kTables || step->place.buffer == kCliqueFactors;
    if (is_stored && (!smallest || size(*step) < size(*smallest))) smallest = step;
  }
  float* const numbers =
      smallest->place.buffer == kTables ? engine_.numbers.data() : engine_.clique_factors.data();
  kernels().scale(numbers + smallest->place.offset, size(*smallest), 1.0 / engine_.mass);
}

// ---- Distributing ----

tv_status_t OperationRunner::send(const Workspace& workspace, const Operation& operation) {
  const CliqueLink& link = work(operation).links[operation.link];
  SeparatorWork& separator = engine_.separators[link.separator];
  double* totals = workspace.totals[kMessageTotals] + operation.totals;
  if (weighs_findings_) marginalize_onto(work(operation), link, totals);
  const RatioResult result = (operation.has_past ? divide_array : take_array)(
      totals, separator.old.numbers, message_buffer(operation), operation.size, workspace.settings);
  absorb_message(operation);
  const tv_status_t status = check_ratio(result, operation.has_past);
  return status && range_flags() ? kOutOfRange : status;
}

tv_status_t OperationRunner::store_belief(const Workspace& workspace, const Operation& operation) noexcept {
  const BeliefMarginal& plan = engine_.belief_marginals[operation.belief];
  const NodeState& data = engine_[*plan.node];
  const size_t states = plan.node->number_of_states;
  if (data.observed_state >= 0) {
    store_certain_belief(static_cast<size_t>(data.observed_state), states, data.belief);
    return tv_status_none;
  }
  double* totals = workspace.totals[kBeliefTotals] + operation.totals;
  if (weighs_findings_) {
    size_t steps[64];
    const CliqueWork& here = work(operation);
    const ReducedTable& table = operation.link == Operation::kNoLink
                                    ? here.table
                                    : engine_.separators[here.links[operation.link].separator].old;
    step_in_member(table, plan.member, steps);
    marginalize_with_findings(
        engine_, table, [&](size_t member) { return member == plan.member; }, steps, request_.equilibrium,
        totals);
  }
  const bool sums = request_.equilibrium == tv_equilibrium_sum;
  return tv::store_belief(totals, states, sums, kSmallestNormalFloat, data.belief) ? tv_status_none
                                                                                   : kOutOfRange;
}

}  // namespace tv
