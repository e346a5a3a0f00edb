// Running what was written down: item by item, by short items, or in branches on several threads.

#include <algorithm>
#include <atomic>
#include <cmath>

#include "api/float_environment.h"
#include "api/memory.h"
#include "inference/branches.h"
#include "inference/factored.h"
#include "inference/item_runner.h"
#include "inference/short_tape.h"
#include "network/progress.h"
#include "tables/number_bounds.h"
#include "tables/parallel.h"

namespace tv {
namespace {

class Runner {
 public:
  // `steps` is how often progress will be told, about.
  Runner(const Sweep& sweep, size_t steps) noexcept
      : sweep_(sweep),
        engine_(sweep.engine),
        items_(sweep),
        settings_(parallel_settings(*sweep.engine.domain)),
        progress_(*sweep.engine.domain, "propagation", steps) {
    engine_.factor_mantissa = 1.0;
    engine_.factor_exponent = sweep_.first ? engine_.tree->potential_exponent : 0;
    settings_.scratch = engine_.pass_totals.data();
    settings_.scratch_size = engine_.pass_totals.size();
    if (engine_.domain->progress_handler) settings_.progress = &progress_;
  }

  tv_status_t run(const Tape& tape) {
    set_tape(tape);
    use_threads_where_they_pay();
    find_potentials();
    if (tape_.brief) return run_brief(*tape_.brief);
    if (can_run_branches()) {
      Branches own;
      Branches& branches = tape_.branches ? *tape_.branches : own;
      if (branches.threads != settings_.concurrency_level)
        branches = find_branches(engine_, tape_, settings_);
      if (!branches.empty()) return run_branches(branches);
    }
    return run_items();
  }

  // A part of a tape for which no threads are started.
  static tv_status_t run_portion(void* runner, const Tape& portion) {
    Runner& self = *static_cast<Runner*>(runner);
    self.set_tape(portion);
    self.settings_.concurrency_level = 1;
    self.find_potentials();
    return self.run_items();
  }

 private:
  void set_tape(const Tape& tape) noexcept {
    tape_ = tape;
    items_.set_steps(tape.steps);
  }

  Lane main_lane(const ParallelSettings& settings) const noexcept {
    return {engine_.totals.data(), engine_.belief_totals.data(), settings};
  }

  tv_status_t run_items() {
    const Lane lane = main_lane(settings_);
    for (size_t i = 0; i < tape_.item_count; ++i) {
      if (tv_status_t status = progress_.advance()) return status;
      if (tv_status_t status = run_alone(lane, tape_.items[i])) return status;
    }
    return tv_status_none;
  }

  tv_status_t run_alone(const Lane& lane, const Item& item) {
    CollectOutcome outcome;
    if (tv_status_t status = items_.run(lane, item, outcome)) return status;
    items_.account_for(item, outcome);
    return tv_status_none;
  }

  // A kept tape: short items, and others in between.
  tv_status_t run_brief(const ShortTape& brief) {
    find_short_potentials(brief);
    const bool tells = engine_.domain->progress_handler;
    const Lane lane = main_lane(settings_);
    for (size_t next = 0; next < brief.item_count;) {
      if (tv_status_t status = progress_.advance()) return status;
      const ShortItem& item = brief.items[next];
      tv_status_t status = tv_status_none;
      if (item.kind == ShortKind::item)
        status = run_alone(lane, tape_.items[brief.items[next++].first]);
      else if (item.kind == ShortKind::root)
        status = collect_short_root(brief, brief.items[next++]);
      else
        status = run_short_items(engine_, brief, next, tells);
      if (status) return status;
    }
    for (CliqueWork& each : engine_.cliques) {
      each.initialized = true;
      each.findings.clear();
      ++each.version;
    }
    return tv_status_none;
  }

  tv_status_t collect_short_root(const ShortTape& brief, const ShortItem& item) noexcept {
    if (tv_status_t status = tv::collect_short_root(engine_, brief, item)) return status;
    return items_.normalize_root();
  }

  // Starting them takes as long as some passes over a large table.
  void use_threads_where_they_pay() noexcept {
    if (deserves_threads(*engine_.domain, tape_))
      settings_.workers = &workers_;
    else
      settings_.concurrency_level = 1;
  }

  // ---- Branches ----

  bool can_run_branches() const noexcept {
    if (!settings_.workers || items_.weighs_findings() || engine_.domain->progress_handler ||
        sweep_.equilibrium != tv_equilibrium_sum)
      return false;
    for (size_t i = 0; i < tape_.item_count; ++i)
      if (tape_.items[i].step_count > kMostFormingSteps) return false;
    return true;
  }

  // Items behind the first failure are left out, as if all were run one after the other.
  struct Failure {
    size_t item = kNone;
    tv_status_t status = tv_status_none;

    void note(size_t at, tv_status_t found) noexcept {
      if (at >= item) return;
      item = at;
      status = found;
    }
  };

  struct BranchRun {
    Runner& runner;
    const Branches& branches;
    const std::vector<Branches::Part>& parts;
    std::vector<CollectOutcome>& outcomes;
    std::vector<Failure>& failures;
    const std::vector<Lane>& lanes;
    size_t limit;  // items from here on are left out
    std::atomic<size_t> next = 0;

    static void run(void* context, size_t begin, size_t) {
      BranchRun& run = *static_cast<BranchRun*>(context);
      for (size_t part; (part = run.next.fetch_add(1, std::memory_order_relaxed)) < run.parts.size();)
        run.run_part(part, run.lanes[begin]);
    }

    void run_part(size_t part, const Lane& lane) {
      const uint32_t* const items = branches.items.data() + parts[part].first;
      for (size_t at = 0; at < parts[part].count && items[at] < limit; ++at)
        if (tv_status_t status = runner.items_.run(lane, runner.tape_.items[items[at]], outcomes[items[at]]))
          return failures[part].note(items[at], status);
    }
  };

  void run_parts(const Branches& branches, const std::vector<Branches::Part>& parts,
                 const std::vector<Lane>& lanes, std::vector<CollectOutcome>& outcomes, Failure& failure) {
    std::vector<Failure> failures(parts.size());
    BranchRun run = {*this, branches, parts, outcomes, failures, lanes, failure.item};
    run_on_threads(lanes.size(), lanes.size(), BranchRun::run, &run, settings_.workers);
    for (const Failure& each : failures) failure.note(each.item, each.status);
  }

  tv_status_t run_branches(const Branches& branches) {
    std::vector<Block<double>> totals(settings_.concurrency_level - 1);
    ParallelSettings alone = settings_;
    alone.concurrency_level = 1;
    std::vector<Lane> lanes = {main_lane(alone)};
    for (Block<double>& block : totals) {
      block.allocate_uninitialized(branches.totals + branches.belief_totals + alone.scratch_size);
      alone.scratch = block.data() + branches.totals + branches.belief_totals;
      lanes.push_back({block.data(), block.data() + branches.totals, alone});
    }
    std::vector<CollectOutcome> outcomes(tape_.item_count);
    Failure failure;
    run_parts(branches, branches.collect, lanes, outcomes, failure);
    size_t accounted = 0;
    const Lane lane = main_lane(settings_);
    for (size_t i = 0; i < branches.trunk.count; ++i) {
      const size_t at = branches.items[branches.trunk.first + i];
      if (at > failure.item) return failure.status;  // only while collecting
      const Item& item = tape_.items[at];
      if (item.kind == ItemKind::root)
        for (; accounted < at; ++accounted) items_.account_for(tape_.items[accounted], outcomes[accounted]);
      if (tv_status_t status = items_.run(lane, item, outcomes[at])) {
        if (item.kind == ItemKind::collect || item.kind == ItemKind::root) return status;
        failure.note(at, status);
        break;
      }
    }
    run_parts(branches, branches.distribute, lanes, outcomes, failure);
    return failure.status;
  }

  // ---- Potentials ----

  void find_potentials() {
    const size_t threads = std::min(settings_.concurrency_level, tape_.potential_count);
    run_on_threads(tape_.potential_count, threads, find_some_potentials, this, settings_.workers);
  }

  static void find_some_potentials(void* context, size_t begin, size_t end) {
    const Tape& tape = static_cast<const Runner*>(context)->tape_;
    for (size_t p = begin; p < end; ++p) {
      const PotentialPlan& plan = *tape.potentials[p].plan;
      const size_t step = tape.potentials[p].step;
      if (step == kNone)
        copy_potential(plan);
      else
        tape.steps[step].operand = plan.table()->data.data() + fixed_offset(plan);
    }
  }

  const Sweep& sweep_;
  Tape tape_;
  TreeEngine& engine_;
  ItemRunner items_;
  ParallelSettings settings_;
  Workers workers_{settings_.concurrency_level};
  ProgressMeter progress_;
};

// What failed after a number had left the range of single precision says nothing.
tv_status_t judge_range(tv_status_t status) noexcept {
  return status != tv_status_none && status != tv_status_error && range_flags() ? kOutOfRange : status;
}

}  // namespace

tv_status_t _tv_check_norm_factor(double factor) noexcept {
  if (factor == 0.0) return tv_status_inconsistency_or_underflow;
  if (factor >= kLargestFloat || (factor > 0.0 && factor < kSmallestNormalFloat)) return kOutOfRange;
  return tv_status_none;  // a negative factor is deliberately not reported
}

double probability_of_evidence(const Node& node, ptrdiff_t state, const tv_number_t* finding,
                               tv_equilibrium_t equilibrium) noexcept {
  const tv_number_t* belief = compiled(node).belief;
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

tv_status_t run_messages(const Sweep& sweep, const Tape& tape) {
  return judge_range(Runner(sweep, tape.brief ? tape.brief->item_count : tape.item_count).run(tape));
}

tv_status_t _tv_jt_global_propagate(const Sweep& sweep, size_t root) {
  TreeEngine& engine = sweep.engine;
  for (const uint32_t clique : engine.marked) {
    if (engine.cliques[clique].measured || engine.tree->equilibrium == tv_equilibrium_none) continue;
    engine.cliques[clique].measured = true;
    engine.measured.push_back(clique);
  }
  TapeLists lists;  // threads need to see the whole tape
  if (may_deserve_threads(engine) && make_room_for_tape(*engine.tree, lists))
    return run_messages(sweep, plan_messages(sweep, root, lists));
  Runner runner(sweep, 4 * (engine.marked.size() + engine.cliques.size()));
  return judge_range(plan_portions(sweep, root, Runner::run_portion, &runner));
}

}  // namespace tv
