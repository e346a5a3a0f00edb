// Running what was written down: the passes, and between them what becomes of the marginals they formed.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>

#include "api/memory.h"
#include "inference/branches.h"
#include "inference/factored.h"
#include "inference/findings_marginal.h"
#include "inference/messages.h"
#include "inference/short_tape.h"
#include "network/progress.h"
#include "tables/long_arrays.h"
#include "tables/number_bounds.h"
#include "tables/parallel.h"

namespace tv {
namespace {

constexpr tv_status_t kNeedsToAllocate = -1;  // never leaves this file

// Meets one and the same number everywhere in a table.
struct ScalarControl : Control {
  explicit ScalarControl(const Shape& shape) noexcept {
    steps = no_steps;
    inner = nest;
    finish_control(*this, shape);
  }
  ScalarControl(const ScalarControl&) = delete;
  ScalarControl& operator=(const ScalarControl&) = delete;

  size_t no_steps[64] = {};
  Dimension nest[64];
};

class Runner {
 public:
  // `steps` is how often progress will be told, about.
  Runner(const Sweep& sweep, size_t steps) noexcept
      : sweep_(sweep),
        engine_(sweep.engine),
        tree_(*sweep.engine.tree),
        settings_(parallel_settings(*sweep.engine.domain)),
        progress_(*sweep.engine.domain, "propagation", steps),
        weighs_findings_(sweep.mode == tv_evidence_fast_retraction) {
    engine_.factor_mantissa = 1.0;
    engine_.factor_exponent = sweep_.first ? tree_.potential_exponent : 0;
    settings_.scratch = engine_.pass_totals.data();
    settings_.scratch_size = engine_.pass_totals.size();
  }

  tv_status_t run(const Tape& tape) {
    tape_ = tape;
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
    self.tape_ = portion;
    self.settings_.concurrency_level = 1;
    self.find_potentials();
    return self.run_items();
  }

 private:
  // Where a thread sums, and how it runs passes.
  struct Lane {
    double* totals;
    double* belief_totals;
    ParallelSettings settings;
    bool may_allocate;  // a thread of our own may not: nobody would catch its exception
  };

  // What a collecting clique has found out beside its message.
  struct CollectOutcome {
    double mass = 1.0, largest = 1.0;
    int exponent = 0;  // powers of two that were taken out of its table
  };

  Lane main_lane(const ParallelSettings& settings) const noexcept {
    return {engine_.totals.data(), engine_.belief_totals.data(), settings, true};
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
    if (tv_status_t status = run_item(lane, item, outcome)) return status;
    account_for(item, outcome);
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
    return normalize_root();
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
    if (!settings_.workers || weighs_findings_ || sweep_.plain || engine_.domain->progress_handler ||
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
    std::vector<size_t>& reached;  // how many items of each part are done
    std::vector<Failure>& failures;
    const std::vector<Lane>& lanes;
    size_t limit;  // items from here on are left out
    std::atomic<size_t> next = 0;

    static void run(void* context, size_t begin, size_t) {
      BranchRun& run = *static_cast<BranchRun*>(context);
      for (size_t part; (part = run.next.fetch_add(1, std::memory_order_relaxed)) < run.parts.size();)
        run.run_part(part, run.lanes[begin]);
    }

    // Stops before an item that needs to allocate, and at one that fails.
    void run_part(size_t part, const Lane& lane) {
      const uint32_t* const items = branches.items.data() + parts[part].first;
      for (size_t& at = reached[part]; at < parts[part].count && items[at] < limit; ++at) {
        const tv_status_t status = runner.run_item(lane, runner.tape_.items[items[at]], outcomes[items[at]]);
        if (status == kNeedsToAllocate) return;
        if (status) return failures[part].note(items[at], status);
      }
    }
  };

  void run_parts(const Branches& branches, const std::vector<Branches::Part>& parts,
                 const std::vector<Lane>& lanes, std::vector<CollectOutcome>& outcomes, Failure& failure) {
    std::vector<size_t> reached(parts.size(), 0);
    std::vector<Failure> failures(parts.size());
    BranchRun run = {*this, branches, parts, outcomes, reached, failures, lanes, failure.item};
    run_on_threads(lanes.size(), lanes.size(), BranchRun::run, &run, settings_.workers);
    for (size_t part = 0; part < parts.size(); ++part) {
      if (failures[part].item == kNone) run.run_part(part, main_lane(settings_));
      failure.note(failures[part].item, failures[part].status);
    }
  }

  tv_status_t run_branches(const Branches& branches) {
    std::vector<Block<double>> totals(settings_.concurrency_level - 1);
    ParallelSettings alone = settings_;
    alone.concurrency_level = 1;
    std::vector<Lane> lanes = {main_lane(alone)};
    lanes[0].may_allocate = false;
    for (Block<double>& block : totals) {
      block.allocate_uninitialized(branches.totals + branches.belief_totals + alone.scratch_size);
      alone.scratch = block.data() + branches.totals + branches.belief_totals;
      lanes.push_back({block.data(), block.data() + branches.totals, alone, false});
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
        for (; accounted < at; ++accounted) account_for(tape_.items[accounted], outcomes[accounted]);
      if (tv_status_t status = run_item(lane, item, outcomes[at])) {
        if (item.kind == ItemKind::collect || item.kind == ItemKind::root) return status;
        failure.note(at, status);
        break;
      }
    }
    run_parts(branches, branches.distribute, lanes, outcomes, failure);
    return failure.status;
  }

  // ---- Items ----

  tv_status_t run_item(const Lane& lane, const Item& item, CollectOutcome& outcome) {
    switch (item.kind) {
      case ItemKind::collect:
        return collect(lane, item, outcome);
      case ItemKind::root:
        return collect_root(lane, item, outcome);
      case ItemKind::pass:
        return run_table_pass(lane, item), tv_status_none;
      case ItemKind::separator_pass:
        return run_separator_pass(lane, item), tv_status_none;
      case ItemKind::message:
        return send(lane, item);
      case ItemKind::belief:
        return store_belief(lane, item);
    }
    return tv_status_error;
  }

  CliqueWork& work(const Item& item) const noexcept { return engine_.cliques[item.clique]; }
  Step* steps(const Item& item) const noexcept { return tape_.steps + item.first_step; }

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

  // ---- Passes over a clique's table ----

  // Tapes are written for the totals of the engine.
  void run_pass_in(const Lane& lane, const Shape& shape, float* numbers, const Step* steps, size_t count) {
    if (lane.totals == engine_.totals.data()) return run_pass(shape, numbers, steps, count, lane.settings);
    Step moved[kMostFormingSteps];
    for (size_t s = 0; s < count; ++s) {
      moved[s] = steps[s];
      double*& target = moved[s].target;
      if (target >= engine_.totals.begin() && target < engine_.totals.end())
        target = lane.totals + (target - engine_.totals.begin());
      else if (target >= engine_.belief_totals.begin() && target < engine_.belief_totals.end())
        target = lane.belief_totals + (target - engine_.belief_totals.begin());
    }
    run_pass(shape, numbers, moved, count, lane.settings);
  }

  void run_steps(const Lane& lane, const Item& item, const Step* steps, size_t count) {
    if (count == 0) return;
    run_pass_in(lane, item.shape, work(item).table.numbers, steps, count);
    work(item).initialized = true;
    if (!steps->target) ++work(item).version;
  }

  void run_table_pass(const Lane& lane, const Item& item) {
    clear_array(lane.totals, item.clear_totals, lane.settings);
    std::fill_n(lane.belief_totals, item.clear_beliefs, 0.0);
    if (item.formed == 0 || work(item).factored) return run_steps(lane, item, steps(item), item.step_count);
    if (!item.repeats) bring_up_to_date(lane, item);
    run_steps(lane, item, steps(item) + item.formed, item.step_count - item.formed);
  }

  // The tape was written for a factored clique, but its table is stored meanwhile: only the news are missing.
  void bring_up_to_date(const Lane& lane, const Item& item) {
    if (item.link == static_cast<uint32_t>(kNone)) {
      const ScalarControl control(item.shape);
      const Step normalize = {Operation::multiply, &control, &engine_.inverse};
      if (!sweep_.plain) run_steps(lane, item, &normalize, 1);
      return;
    }
    const float* message = work(item).links[item.link].received;
    const Step* factor = steps(item);
    while (factor->operand != message) ++factor;
    const Step update = {Operation::multiply, factor->control, message};
    run_steps(lane, item, &update, 1);
  }

  void run_separator_pass(const Lane& lane, const Item& item) {
    std::fill_n(lane.belief_totals, item.clear_beliefs, 0.0);
    if (item.step_count) run_pass_in(lane, item.shape, item.numbers, steps(item), item.step_count);
  }

  // ---- Factors ----

  // A factor taken out of a clique's table goes into the constants instead.
  void note_factor(CliqueWork& work, double factor) noexcept {
    take_out_factor(engine_, factor);
    if (tree_.equilibrium != tv_equilibrium_none) work.clique->conflict /= factor;
  }

  void note_power(CliqueWork& work, int exponent) noexcept {
    engine_.factor_exponent += exponent;
    if (tree_.equilibrium != tv_equilibrium_none)
      work.clique->conflict = std::ldexp(work.clique->conflict, -exponent);
  }

  void set_constants() noexcept {
    const int exponent = static_cast<int>(std::clamp(engine_.factor_exponent, -100000L, 100000L));
    tree_.step_constant = std::ldexp(engine_.factor_mantissa, exponent);
    tree_.step_log_constant =
        std::log(engine_.factor_mantissa) + static_cast<double>(engine_.factor_exponent) * std::numbers::ln2;
    tree_.constant *= tree_.step_constant;
    tree_.log_constant += tree_.step_log_constant;
  }

  // Scales the table so that its largest entry lies between one and two: the power of two costs no precision.
  tv_status_t rescale_table(const Lane& lane, const Item& item, CollectOutcome& outcome) {
    const ScalarControl control(item.shape);
    double largest = 0.0;
    const Step find_largest = {Operation::max, &control, nullptr, &largest};
    run_steps(lane, item, &find_largest, 1);
    if (tv_status_t status = _tv_check_norm_factor(largest)) return status;
    const int exponent = std::clamp(std::ilogb(largest), -126, 126);
    const float inverse = std::ldexp(1.0f, -exponent);
    outcome.exponent += exponent;
    const Step rescale = {Operation::multiply, &control, &inverse};
    run_steps(lane, item, &rescale, 1);
    return tv_status_none;
  }

  // Runs the updates of a collecting clique a few at a time. Messages and potentials have entries of at most
  // about one; a product of very many of them could underflow, so the table is rescaled in between.
  tv_status_t run_in_parts(const Lane& lane, const Item& item, size_t together, CollectOutcome& outcome) {
    for (size_t first = 0; first < item.updates; first += together) {
      if (first > 0)
        if (tv_status_t status = rescale_table(lane, item, outcome)) return status;
      run_steps(lane, item, steps(item) + first, std::min<size_t>(together, item.updates - first));
    }
    run_steps(lane, item, steps(item) + item.updates, item.step_count - item.updates);
    return tv_status_none;
  }

  // Brings a clique up to date and forms the outgoing marginal. Where little mass is left of the potentials'
  // product, entries may have been lost on the way: it is then formed again step by step.
  tv_status_t update_and_marginalize(const Lane& lane, const Item& item, double* totals, size_t size,
                                     CollectOutcome& outcome) {
    const bool can_repeat = item.starts_anew && !sweep_.plain;
    tv_status_t status = tv_status_none;
    for (size_t together : {kUpdatesTogether, size_t{1}}) {
      clear_array(totals, size, lane.settings);
      outcome.exponent = 0;
      if (sweep_.equilibrium == tv_equilibrium_max) engine_.table_sum = 0.0;  // else it is not asked for
      status = tv_status_none;
      if (item.updates <= together || sweep_.plain || work(item).factored)
        run_steps(lane, item, steps(item), item.step_count);
      else
        status = run_in_parts(lane, item, together, outcome);
      if (!can_repeat || item.updates < 2 || holds_mass(totals, size)) break;
      if (work(item).factored && !lane.may_allocate) return kNeedsToAllocate;
      store_table(work(item));
    }
    work(item).findings.clear();
    if (status == tv_status_none && sweep_.equilibrium == tv_equilibrium_max && !sweep_.plain)
      status = _tv_check_norm_factor(engine_.table_sum);
    return status;
  }

  // ---- Collecting ----

  tv_status_t check_ratio(const RatioResult& result, bool has_past) const noexcept {
    if (weighs_findings_) return result.lost_entry ? tv_status_fast_retraction : tv_status_none;
    return has_past && result.sum > kLargestRatioSum ? tv_status_inconsistency_or_underflow : tv_status_none;
  }

  double evidence_of_departing_members(const CliqueWork& work, const Clique* target) const noexcept {
    double product = 1.0;
    for (const Node* node : *work.table.members) {
      const CompiledNode& data = compiled(*node);
      if (data.propagated_state != kNoEvidence && !(target && target->members().contains(node)))
        product *= probability_of_evidence(*node, data.propagated_state, data.propagated_finding,
                                           sweep_.equilibrium);
    }
    return product;
  }

  void marginalize_onto(const CliqueWork& work, const LinkPlan& link, double* totals) const noexcept {
    size_t steps[64];
    step_in_separator(work.table, link, engine_.separators[link.separator].old, steps);
    marginalize_with_findings(
        work.table, [&](size_t member) { return link.member_of[member] != kNoIndex; }, steps,
        sweep_.equilibrium, totals);
  }

  // The marginal becomes the rescaled update for the clique nearer to the root.
  tv_status_t collect(const Lane& lane, const Item& item, CollectOutcome& outcome) {
    CliqueWork& here = work(item);
    const LinkPlan& link = here.links[item.link];
    if (tv_status_t status = update_and_marginalize(lane, item, lane.totals, item.size, outcome))
      return status;
    if (weighs_findings_) marginalize_onto(here, link, lane.totals);
    SeparatorWork& separator = engine_.separators[link.separator];
    float* message = place_of_message(item);
    const RatioResult result = (item.has_past ? divide_array : take_array)(lane.totals, separator.old.numbers,
                                                                           message, item.size, lane.settings);
    if (sweep_.plain) return keep_message(item), tv_status_none;
    if (tv_status_t status = check_ratio(result, item.has_past)) return status;
    outcome.mass = sweep_.equilibrium == tv_equilibrium_sum ? result.sum : result.largest;
    outcome.largest = result.largest;
    if (tv_status_t status = _tv_check_norm_factor(outcome.mass)) return status;
    if (tv_status_t status = _tv_check_norm_factor(outcome.largest)) return status;
    scale_array(message, item.size, 1.0 / outcome.largest, lane.settings);
    keep_message(item);
    return tv_status_none;
  }

  // The constants and the conflict, in the order of the tape.
  void account_for(const Item& item, const CollectOutcome& outcome) noexcept {
    if (item.kind != ItemKind::collect || sweep_.plain) return;
    CliqueWork& here = work(item);
    CliqueWork& receiver = engine_.cliques[here.links[item.link].neighbor];
    note_power(here, outcome.exponent);
    pass_conflict_on(here, receiver, outcome.mass);
    note_factor(receiver, outcome.largest);
  }

  float* place_of_message(const Item& item) const noexcept {
    const LinkPlan& link = work(item).links[item.link];
    const CliqueWork& receiver = engine_.cliques[link.neighbor];
    return tv::place_of_message(receiver, receiver.links[link.back], engine_.separators[link.separator]);
  }

  void keep_message(const Item& item) const noexcept {
    const LinkPlan& link = work(item).links[item.link];
    CliqueWork& receiver = engine_.cliques[link.neighbor];
    tv::keep_message(receiver, receiver.links[link.back], engine_.separators[link.separator], item.size);
  }

  // A clique's conflict is measured by the mass of its message, but the message itself is scaled by its
  // largest entry: a message that says nothing then multiplies by ones, however many such messages there are.
  void pass_conflict_on(CliqueWork& from, CliqueWork& to, double mass) noexcept {
    if (tree_.equilibrium == tv_equilibrium_none) return;
    if (weighs_findings_) from.clique->conflict *= evidence_of_departing_members(from, to.clique);
    to.clique->conflict *= from.clique->conflict;
    from.clique->conflict /= mass;
  }

  // Brings the root up to date and finds the constant by which it will be normalised.
  tv_status_t collect_root(const Lane& lane, const Item& item, CollectOutcome& outcome) {
    CliqueWork& here = work(item);
    if (tv_status_t status = update_and_marginalize(lane, item, &engine_.mass, 1, outcome)) return status;
    if (sweep_.plain) return tv_status_none;
    note_power(here, outcome.exponent);
    if (tv_status_t status = normalize_root()) return status;
    if (tree_.equilibrium != tv_equilibrium_none) {
      here.clique->conflict /= engine_.mass;
      if (weighs_findings_) here.clique->conflict *= evidence_of_departing_members(here, nullptr);
      tree_.conflict = here.clique->conflict;
    }
    if (here.factored) normalize_factors(item);
    return tv_status_none;
  }

  tv_status_t normalize_root() noexcept {
    if (tv_status_t status = _tv_check_norm_factor(engine_.mass)) return status;
    engine_.factor_mantissa *= engine_.mass;
    set_constants();
    engine_.inverse = static_cast<float>(1.0 / engine_.mass);
    return tv_status_none;
  }

  // Normalises a factored root through the smallest of its factors.
  void normalize_factors(const Item& item) noexcept {
    const Step* smallest = nullptr;
    for (const Step* step = steps(item); step < steps(item) + item.formed; ++step) {
      const bool is_kept =
          (step->operand >= engine_.numbers.begin() && step->operand < engine_.numbers.end()) ||
          step->operand == &work(item).constant;
      if (is_kept && (!smallest || step->control->other_size < smallest->control->other_size))
        smallest = step;
    }
    kernels().scale(const_cast<float*>(smallest->operand), smallest->control->other_size, 1.0 / engine_.mass);
  }

  // ---- Distributing ----

  tv_status_t send(const Lane& lane, const Item& item) {
    const LinkPlan& link = work(item).links[item.link];
    SeparatorWork& separator = engine_.separators[link.separator];
    double* totals = lane.totals + item.totals;
    if (weighs_findings_) marginalize_onto(work(item), link, totals);
    const RatioResult result = (item.has_past ? divide_array : take_array)(
        totals, separator.old.numbers, place_of_message(item), item.size, lane.settings);
    keep_message(item);
    return check_ratio(result, item.has_past);
  }

  // Stores a belief so that it sums to one (or its largest entry is one, under max).
  tv_status_t store_belief(const Lane& lane, const Item& item) noexcept {
    const BeliefPlan& plan = *item.belief;
    const CompiledNode& data = compiled(*plan.node);
    const size_t states = plan.node->number_of_states;
    if (data.fixed_state >= 0) {
      std::fill_n(data.belief, states, 0.0f);
      data.belief[data.fixed_state] = 1.0f;
      return tv_status_none;
    }
    double* totals = lane.belief_totals + item.totals;
    if (weighs_findings_) {
      size_t steps[64];
      step_in_member(*item.table, plan.member, steps);
      marginalize_with_findings(
          *item.table, [&](size_t member) { return member == plan.member; }, steps, sweep_.equilibrium,
          totals);
    }
    double whole = 0.0;
    for (size_t i = 0; i < states; ++i)
      whole = sweep_.equilibrium == tv_equilibrium_sum ? whole + totals[i] : std::max(whole, totals[i]);
    if (!(whole >= kSmallestNormalFloat)) return tv_status_normalization;
    for (size_t i = 0; i < states; ++i) data.belief[i] = static_cast<tv_number_t>(totals[i] / whole);
    return tv_status_none;
  }

  const Sweep& sweep_;
  Tape tape_;
  TreeEngine& engine_;
  JunctionTree& tree_;
  ParallelSettings settings_;
  Workers workers_{settings_.concurrency_level};
  ProgressMeter progress_;
  bool weighs_findings_;
};

}  // namespace

tv_status_t _tv_check_norm_factor(double factor) noexcept {
  if (factor >= kLargestFloat) return tv_status_overflow;
  if (factor >= 0.0 && factor < kSmallestNormalFloat) return tv_status_inconsistency_or_underflow;
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
  for (size_t i = 0; i < size && mass < kSuspiciousMass; ++i) mass += totals[i];
  return mass >= kSuspiciousMass;
}

void take_out_factor(TreeEngine& engine, double factor) noexcept {
  engine.factor_mantissa *= factor;
  if (engine.factor_mantissa > 1e-200 && engine.factor_mantissa < 1e200) return;
  int exponent = 0;
  engine.factor_mantissa = std::frexp(engine.factor_mantissa, &exponent);
  engine.factor_exponent += exponent;
}

tv_status_t run_messages(const Sweep& sweep, const Tape& tape) {
  return Runner(sweep, tape.brief ? tape.brief->item_count : tape.item_count).run(tape);
}

tv_status_t _tv_jt_global_propagate(const Sweep& sweep, size_t root) {
  TreeEngine& engine = sweep.engine;
  for (const uint32_t clique : engine.marked) {
    if (engine.cliques[clique].measured) continue;
    engine.cliques[clique].measured = true;
    engine.measured.push_back(clique);
  }
  TapeLists lists;  // threads need to see the whole tape
  if (may_deserve_threads(engine) && make_room_for_tape(*engine.tree, lists))
    return run_messages(sweep, plan_messages(sweep, root, lists));
  Runner runner(sweep, 4 * (engine.marked.size() + engine.cliques.size()));
  return plan_portions(sweep, root, Runner::run_portion, &runner);
}

}  // namespace tv
