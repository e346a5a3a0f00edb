// Runs a schedule: operation by operation, as gather lists, or with its subtrees in parallel.

#include <algorithm>
#include <cmath>
#include <numbers>

#include "api/float_environment.h"
#include "api/memory.h"
#include "inference/schedule/gather_schedule.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/parallel_subtrees.h"
#include "inference/schedule/run_operation.h"
#include "network/progress.h"
#include "tables/kernels/number_bounds.h"
#include "tables/kernels/parallel.h"

namespace tv {
namespace {

class Runner {
 public:
  // `steps` is how often progress will be reported, about.
  Runner(const PropagationRequest& request, size_t steps) noexcept
      : request_(request),
        engine_(request.engine),
        operations_(request),
        settings_(parallel_settings(*request.engine.domain)),
        progress_(*request.engine.domain, "propagation", steps) {
    engine_.factor_mantissa = 1.0;
    engine_.factor_exponent = request_.first ? engine_.tree->potential_exponent : 0;
    settings_.scratch = engine_.pass_totals.data();
    settings_.scratch_size = engine_.pass_totals.size();
    if (engine_.domain->progress_handler) settings_.progress = &progress_;
  }

  tv_status_t run(const Schedule& schedule, Subtrees* kept) {
    set_schedule(schedule);
    use_threads_where_they_pay();
    find_potentials();
    if (schedule_->gather.operations) return run_gather(schedule_->gather);
    if (can_run_subtrees()) {
      Subtrees own;
      Subtrees& subtrees = kept ? *kept : own;
      if (subtrees.threads != settings_.concurrency_level)
        subtrees = find_subtrees(engine_, *schedule_, settings_);
      if (!subtrees.empty()) return run_subtrees(subtrees);
    }
    return run_operations();
  }

  // Runs the part of a streamed schedule that belongs to one clique, for which no threads are started.
  static tv_status_t run_streamed(void* runner, const Schedule& part) {
    Runner& self = *static_cast<Runner*>(runner);
    self.set_schedule(part);
    self.settings_.concurrency_level = 1;
    self.find_potentials();
    return self.run_operations();
  }

 private:
  void set_schedule(const Schedule& schedule) noexcept {
    schedule_ = &schedule;
    operations_.set_schedule(schedule);
    engine_.buffers[kConstants] = schedule.constants;
  }

  Workspace main_workspace(const ParallelSettings& settings) const noexcept {
    return {{engine_.totals.data(), engine_.belief_totals.data(), &engine_.mass, &engine_.table_sum},
            engine_.buffers.data(),
            engine_.bound_steps.data(),
            settings};
  }

  tv_status_t run_operations() {
    const Workspace workspace = main_workspace(settings_);
    for (size_t i = 0; i < schedule_->operation_count; ++i) {
      if (tv_status_t status = progress_.advance()) return status;
      if (tv_status_t status = run_alone(workspace, schedule_->operations[i])) return status;
    }
    return tv_status_none;
  }

  tv_status_t run_alone(const Workspace& workspace, const Operation& operation) {
    CollectOutcome outcome;
    if (tv_status_t status = operations_.run(workspace, operation, outcome)) return status;
    operations_.account_for(operation, outcome);
    return tv_status_none;
  }

  // A cached schedule: gather operations, and plain ones in between.
  tv_status_t run_gather(const GatherSchedule& gather) {
    const bool tells = engine_.domain->progress_handler;
    const Workspace workspace = main_workspace(settings_);
    for (size_t next = 0; next < gather.operation_count;) {
      if (tv_status_t status = progress_.advance()) return status;
      const GatherOperation& operation = gather.operations[next];
      tv_status_t status = tv_status_none;
      if (operation.kind == GatherKind::operation)
        status = run_alone(workspace, schedule_->operations[gather.operations[next++].first]);
      else if (operation.kind == GatherKind::root)
        status = collect_gathered_root(gather, gather.operations[next++]);
      else
        status = run_gather_operations(engine_, gather, next, tells);
      if (status) return status;
    }
    for (CliqueWork& each : engine_.cliques) {
      each.initialized = true;
      each.findings.clear();
      ++each.version;
    }
    return tv_status_none;
  }

  tv_status_t collect_gathered_root(const GatherSchedule& gather, const GatherOperation& operation) noexcept {
    if (tv_status_t status = tv::collect_gathered_root(engine_, gather, operation)) return status;
    return operations_.normalize_root();
  }

  // Starting threads takes as long as some passes over a large table.
  void use_threads_where_they_pay() noexcept {
    if (deserves_threads(*engine_.domain, *schedule_))
      settings_.workers = &workers_;
    else
      settings_.concurrency_level = 1;
  }

  // ---- Subtrees ----

  bool can_run_subtrees() const noexcept {
    if (!settings_.workers || operations_.weighs_findings() || engine_.domain->progress_handler ||
        request_.equilibrium != tv_equilibrium_sum)
      return false;
    for (size_t i = 0; i < schedule_->operation_count; ++i)
      if (schedule_->operations[i].step_count > kMaxFusedSteps) return false;
    return true;
  }

  // Operations behind the first failure are left out, as if all were run one after the other.
  struct Failure {
    size_t operation = kNone;
    tv_status_t status = tv_status_none;

    void note(size_t at, tv_status_t found) noexcept {
      if (at >= operation) return;
      operation = at;
      status = found;
    }
  };

  void run_parts(const Subtrees& subtrees, const std::vector<Subtrees::Part>& parts,
                 const std::vector<Workspace>& workspaces, std::vector<CollectOutcome>& outcomes,
                 Failure& failure) {
    std::vector<Failure> failures(parts.size());
    const auto run_part = [&](size_t part, size_t thread) {
      const uint32_t* at = subtrees.operations.data() + parts[part].first;
      const uint32_t* const end = at + parts[part].count;
      tv_status_t status = tv_status_none;
      for (; at < end && *at < failure.operation && !status; ++at)
        if ((status = operations_.run(workspaces[thread], schedule_->operations[*at], outcomes[*at])))
          failures[part].note(*at, status);
      return true;
    };
    run_parts_on_threads(parts.size(), workspaces.size(), settings_.workers, run_part);
    for (const Failure& each : failures) failure.note(each.operation, each.status);
  }

  tv_status_t run_subtrees(const Subtrees& subtrees) {
    ParallelSettings alone = settings_;
    alone.concurrency_level = 1;
    std::vector<WorkspaceMemory> memory(settings_.concurrency_level - 1);
    std::vector<Workspace> workspaces = {main_workspace(alone)};
    for (WorkspaceMemory& own : memory)
      workspaces.push_back(own.make(workspaces[0], subtrees.totals, subtrees.belief_totals, kMaxFusedSteps));
    std::vector<CollectOutcome> outcomes(schedule_->operation_count);
    Failure failure;
    run_parts(subtrees, subtrees.collect, workspaces, outcomes, failure);
    size_t accounted = 0;
    const Workspace workspace = main_workspace(settings_);
    for (size_t i = 0; i < subtrees.root_region.count; ++i) {
      const size_t at = subtrees.operations[subtrees.root_region.first + i];
      if (at > failure.operation) return failure.status;  // only while collecting
      const Operation& operation = schedule_->operations[at];
      if (operation.kind == OperationKind::root)
        for (; accounted < at; ++accounted)
          operations_.account_for(schedule_->operations[accounted], outcomes[accounted]);
      if (tv_status_t status = operations_.run(workspace, operation, outcomes[at])) {
        if (operation.kind == OperationKind::collect || operation.kind == OperationKind::root) return status;
        failure.note(at, status);
        break;
      }
    }
    run_parts(subtrees, subtrees.distribute, workspaces, outcomes, failure);
    return failure.status;
  }

  // ---- Potentials ----

  void find_potentials() {
    if (!settings_.workers) return find_some_potentials(this, 0, schedule_->potential_count);
    const size_t threads = std::min(settings_.concurrency_level, schedule_->potential_count);
    run_on_threads(schedule_->potential_count, threads, find_some_potentials, this, settings_.workers);
  }

  static void find_some_potentials(void* context, size_t begin, size_t end) {
    const Schedule& schedule = *static_cast<const Runner*>(context)->schedule_;
    const TreeEngine& engine = static_cast<const Runner*>(context)->engine_;
    const NodeState* const nodes = engine.nodes;
    const CliquePotential* const plans = engine.clique_potentials.data();
    const float** const found = engine.buffers.data() + kFirstPotential;
    for (size_t p = begin; p < end; ++p) {
      const SchedulePotential& potential = schedule.potentials[p];
      const CliquePotential& plan = plans[potential.position];
      const ObservedMember* observed = schedule.observed + potential.first_observed;
      const float* entries = plan.table()->data.data();
      for (uint32_t k = 0; k < potential.observed_count; ++k, ++observed)
        entries += static_cast<size_t>(nodes[observed->node].observed_state) * observed->stride;
      if (potential.is_copied) copy_potential(engine, plan, entries);
      found[p] = entries;
    }
  }

  const PropagationRequest& request_;
  const Schedule* schedule_ = nullptr;
  TreeEngine& engine_;
  OperationRunner operations_;
  ParallelSettings settings_;
  Workers workers_{settings_.concurrency_level};
  ProgressMeter progress_;
};

// A failure after a number has left the range of single precision may be due to that alone.
tv_status_t judge_range(tv_status_t status) noexcept {
  return status != tv_status_none && status != tv_status_error && range_flags() ? kOutOfRange : status;
}

}  // namespace

tv_status_t _tv_check_norm_factor(double factor) noexcept {
  if (factor == 0.0) return tv_status_inconsistency_or_underflow;
  if (factor >= kLargestFloat || (factor > 0.0 && factor < kSmallestNormalFloat)) return kOutOfRange;
  return tv_status_none;  // a negative factor is deliberately not reported
}

double probability_of_evidence(const TreeEngine& engine, const Node& node, ptrdiff_t state,
                               const tv_number_t* finding, tv_equilibrium_t equilibrium) noexcept {
  const tv_number_t* belief = engine[node].belief;
  if (state >= 0) return static_cast<double>(belief[state]);
  if (state == kNoEvidence && equilibrium == tv_equilibrium_sum) return 1.0;
  double total = 0.0;
  for (size_t i = 0; i < node.number_of_states; ++i) {
    const double weight = state == kFindingVector ? static_cast<double>(finding[i]) : 1.0;
    const double term = static_cast<double>(belief[i]) * weight;
    total = equilibrium == tv_equilibrium_sum ? total + term : std::max(total, term);
  }
  return total;
}

bool holds_mass(const double* totals, size_t size) noexcept {
  double mass = 0.0;
  for (size_t i = 0; i < size && mass < kLittleMass; ++i) mass += totals[i];
  return mass >= kLittleMass;
}

void take_out_factor(TreeEngine& engine, double factor) noexcept {
  engine.factor_mantissa *= factor;
  if (engine.factor_mantissa > 1e-200 && engine.factor_mantissa < 1e200) return;
  int exponent = 0;
  engine.factor_mantissa = std::frexp(engine.factor_mantissa, &exponent);
  engine.factor_exponent += exponent;
}

void set_step_constants(TreeEngine& engine, double mantissa, long exponent) noexcept {
  engine.step_constant = std::ldexp(mantissa, static_cast<int>(std::clamp(exponent, -100000L, 100000L)));
  engine.step_log_constant = std::log(mantissa) + static_cast<double>(exponent) * std::numbers::ln2;
  engine.constant *= engine.step_constant;
  engine.log_constant += engine.step_log_constant;
}

tv_status_t run_schedule(const PropagationRequest& request, const Schedule& schedule, Subtrees* subtrees) {
  const size_t steps = schedule.gather.operation_count + schedule.operation_count;
  return judge_range(Runner(request, steps).run(schedule, subtrees));
}

tv_status_t _tv_jt_global_propagate(const PropagationRequest& request, size_t root) {
  TreeEngine& engine = request.engine;
  for (const uint32_t clique : engine.marked) {
    if (engine.cliques[clique].measured || engine.equilibrium == tv_equilibrium_none) continue;
    engine.cliques[clique].measured = true;
    engine.measured.push_back(clique);
  }
  ScheduleLists lists;  // threads need to see the whole schedule
  if (may_deserve_threads(engine) && reserve_schedule(*engine.tree, lists))
    return run_schedule(request, build_schedule(request, root, lists));
  Runner runner(request, 4 * (engine.marked.size() + engine.cliques.size()));
  return judge_range(stream_schedule(request, root, Runner::run_streamed, &runner));
}

}  // namespace tv
