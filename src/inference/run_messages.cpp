// Running what was written down: the passes, and between them what becomes of the marginals they formed.

#include <algorithm>
#include <cmath>
#include <numbers>

#include "api/memory.h"
#include "inference/factored.h"
#include "inference/findings_marginal.h"
#include "inference/messages.h"
#include "inference/short_tape.h"
#include "network/progress.h"
#include "tables/number_bounds.h"
#include "tables/parallel.h"

namespace tv {
namespace {

constexpr size_t kGrainsForThreads = 1000;

class Runner {
 public:
  Runner(const Sweep& sweep, const Tape& tape) noexcept
      : sweep_(sweep),
        tape_(tape),
        engine_(sweep.engine),
        tree_(*sweep.engine.tree),
        settings_(parallel_settings(*sweep.engine.domain)),
        weighs_findings_(sweep.mode == tv_evidence_fast_retraction) {}

  tv_status_t run() {
    use_threads_where_they_pay();
    find_potentials();
    engine_.factor_mantissa = 1.0;
    engine_.factor_exponent = sweep_.first ? tree_.potential_exponent : 0;
    if (tape_.brief) return run_brief(*tape_.brief);
    ProgressMeter progress(*engine_.domain, "propagation", tape_.item_count);
    for (size_t i = 0; i < tape_.item_count; ++i) {
      if (tv_status_t status = progress.advance()) return status;
      if (tv_status_t status = run_item(tape_.items[i])) return status;
    }
    return tv_status_none;
  }

 private:
  // A kept tape: short items, and others in between.
  tv_status_t run_brief(const ShortTape& brief) {
    find_short_potentials(brief);
    ProgressMeter progress(*engine_.domain, "propagation", brief.item_count);
    const bool tells = engine_.domain->progress_handler;
    for (size_t next = 0; next < brief.item_count;) {
      if (tv_status_t status = progress.advance()) return status;
      const ShortItem& item = brief.items[next];
      tv_status_t status = tv_status_none;
      if (item.kind == ShortKind::item)
        status = run_item(tape_.items[brief.items[next++].first]);
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
    if (settings_.concurrency_level == 1) return;
    size_t work = 0;
    for (size_t i = 0; i < tape_.item_count; ++i)
      work = size_add(work, size_multiply(tape_.items[i].shape.size, tape_.items[i].step_count));
    if (work / kGrainsForThreads < settings_.grain_size)
      settings_.concurrency_level = 1;
    else
      settings_.workers = &workers_;
  }

  tv_status_t run_item(const Item& item) {
    switch (item.kind) {
      case ItemKind::collect:
        return collect(item);
      case ItemKind::root:
        return collect_root(item);
      case ItemKind::pass:
        return run_table_pass(item), tv_status_none;
      case ItemKind::separator_pass:
        return run_separator_pass(item), tv_status_none;
      case ItemKind::message:
        return send(item);
      case ItemKind::belief:
        return store_belief(item);
    }
    return tv_status_error;
  }

  CliqueWork& work(const Item& item) const noexcept { return engine_.cliques[item.clique]; }
  Step* steps(const Item& item) const noexcept { return tape_.steps + item.first_step; }

  void find_potentials() const noexcept {
    for (size_t p = 0; p < tape_.potential_count; ++p) {
      const PotentialPlan& plan = *tape_.potentials[p].plan;
      const size_t step = tape_.potentials[p].step;
      if (step == kNone)
        copy_potential(plan);
      else
        tape_.steps[step].operand = plan.table()->data.data() + fixed_offset(plan);
    }
  }

  // ---- Passes over a clique's table ----

  void run_steps(const Item& item, const Step* steps, size_t count) {
    if (count == 0) return;
    run_pass(item.shape, work(item).table.numbers, steps, count, settings_);
    work(item).initialized = true;
    if (!steps->target) ++work(item).version;
  }

  void run_table_pass(const Item& item) {
    std::fill_n(engine_.totals.data(), item.clear_totals, 0.0);
    std::fill_n(engine_.belief_totals.data(), item.clear_beliefs, 0.0);
    if (item.formed == 0 || work(item).factored) return run_steps(item, steps(item), item.step_count);
    if (!item.repeats) bring_up_to_date(item);
    run_steps(item, steps(item) + item.formed, item.step_count - item.formed);
  }

  // The tape was written for a factored clique, but its table is stored meanwhile: only the news are missing.
  void bring_up_to_date(const Item& item) {
    const Step normalize = {Operation::multiply, item.scalar, &engine_.inverse};
    if (item.link == static_cast<uint32_t>(kNone)) {
      if (!sweep_.plain) run_steps(item, &normalize, 1);
      return;
    }
    const float* message = work(item).links[item.link].received;
    const Step* factor = steps(item);
    while (factor->operand != message) ++factor;
    const Step update = {Operation::multiply, factor->control, message};
    run_steps(item, &update, 1);
  }

  void run_separator_pass(const Item& item) {
    std::fill_n(engine_.belief_totals.data(), item.clear_beliefs, 0.0);
    if (item.step_count) run_pass(item.shape, item.numbers, steps(item), item.step_count, settings_);
  }

  // ---- Factors ----

  // A factor taken out of a clique's table goes into the constants instead.
  void note_factor(CliqueWork& work, double factor) noexcept {
    take_out_factor(engine_, factor);
    if (tree_.equilibrium != tv_equilibrium_none) work.clique->conflict /= factor;
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
  tv_status_t rescale_table(const Item& item) {
    CliqueWork& here = work(item);
    double largest = 0.0;
    const Step find_largest = {Operation::max, item.scalar, nullptr, &largest};
    run_steps(item, &find_largest, 1);
    if (tv_status_t status = _tv_check_norm_factor(largest)) return status;
    const int exponent = std::clamp(std::ilogb(largest), -126, 126);
    const float inverse = std::ldexp(1.0f, -exponent);
    note_factor(here, std::ldexp(1.0, exponent));
    const Step rescale = {Operation::multiply, item.scalar, &inverse};
    run_steps(item, &rescale, 1);
    return tv_status_none;
  }

  // Runs the updates of a collecting clique a few at a time. Messages and potentials have entries of at most
  // about one; a product of very many of them could underflow, so the table is rescaled in between.
  tv_status_t run_in_parts(const Item& item, size_t together) {
    for (size_t first = 0; first < item.updates; first += together) {
      if (first > 0)
        if (tv_status_t status = rescale_table(item)) return status;
      run_steps(item, steps(item) + first, std::min<size_t>(together, item.updates - first));
    }
    run_steps(item, steps(item) + item.updates, item.step_count - item.updates);
    return tv_status_none;
  }

  // Brings a clique up to date and forms the outgoing marginal. Where little mass is left of the potentials'
  // product, entries may have been lost on the way: it is then formed again step by step.
  tv_status_t update_and_marginalize(const Item& item, double* totals, size_t size) {
    const bool can_repeat = item.starts_anew && !sweep_.plain;
    const double mantissa = engine_.factor_mantissa;
    const long exponent = engine_.factor_exponent;
    tv_status_t status = tv_status_none;
    for (size_t together : {kUpdatesTogether, size_t{1}}) {
      std::fill_n(totals, size, 0.0);
      engine_.factor_mantissa = mantissa;
      engine_.factor_exponent = exponent;
      engine_.table_sum = 0.0;
      status = tv_status_none;
      if (item.updates <= together || sweep_.plain || work(item).factored)
        run_steps(item, steps(item), item.step_count);
      else
        status = run_in_parts(item, together);
      if (!can_repeat || item.updates < 2 || holds_mass(totals, size)) break;
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
    marginalize_with_findings(
        work.table, [&](size_t member) { return link.member_of[member] != kNone; }, link.control.steps,
        sweep_.equilibrium, totals);
  }

  // The marginal becomes the rescaled update for the clique nearer to the root.
  tv_status_t collect(const Item& item) {
    CliqueWork& here = work(item);
    const LinkPlan& link = here.links[item.link];
    double* totals = engine_.totals.data();
    if (tv_status_t status = update_and_marginalize(item, totals, item.size)) return status;
    if (weighs_findings_) marginalize_onto(here, link, totals);
    SeparatorWork& separator = engine_.separators[link.separator];
    float* message = place_of_message(item);
    const RatioResult result = (item.has_past ? kernels().divide : kernels().take)(
        totals, separator.old.numbers, message, item.size);
    if (sweep_.plain) return keep_message(item), tv_status_none;
    if (tv_status_t status = check_ratio(result, item.has_past)) return status;
    const double mass = sweep_.equilibrium == tv_equilibrium_sum ? result.sum : result.largest;
    if (tv_status_t status = _tv_check_norm_factor(mass)) return status;
    if (tv_status_t status = _tv_check_norm_factor(result.largest)) return status;
    pass_conflict_on(here, engine_.cliques[link.neighbor], mass);
    note_factor(engine_.cliques[link.neighbor], result.largest);
    kernels().scale(message, item.size, 1.0 / result.largest);
    keep_message(item);
    return tv_status_none;
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
  tv_status_t collect_root(const Item& item) {
    CliqueWork& here = work(item);
    if (tv_status_t status = update_and_marginalize(item, &engine_.mass, 1)) return status;
    if (sweep_.plain) return tv_status_none;
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

  tv_status_t send(const Item& item) {
    const LinkPlan& link = work(item).links[item.link];
    SeparatorWork& separator = engine_.separators[link.separator];
    double* totals = engine_.totals.data() + item.totals;
    if (weighs_findings_) marginalize_onto(work(item), link, totals);
    const RatioResult result = (item.has_past ? kernels().divide : kernels().take)(
        totals, separator.old.numbers, place_of_message(item), item.size);
    keep_message(item);
    return check_ratio(result, item.has_past);
  }

  // Stores a belief so that it sums to one (or its largest entry is one, under max).
  tv_status_t store_belief(const Item& item) noexcept {
    const BeliefPlan& plan = *item.belief;
    const CompiledNode& data = compiled(*plan.node);
    const size_t states = plan.node->number_of_states;
    if (data.fixed_state >= 0) {
      std::fill_n(data.belief, states, 0.0f);
      data.belief[data.fixed_state] = 1.0f;
      return tv_status_none;
    }
    double* totals = engine_.belief_totals.data() + item.totals;
    if (weighs_findings_)
      marginalize_with_findings(
          *item.table, [&](size_t member) { return member == plan.member; }, plan.control.steps,
          sweep_.equilibrium, totals);
    double whole = 0.0;
    for (size_t i = 0; i < states; ++i)
      whole = sweep_.equilibrium == tv_equilibrium_sum ? whole + totals[i] : std::max(whole, totals[i]);
    if (!(whole >= kSmallestNormalFloat)) return tv_status_normalization;
    for (size_t i = 0; i < states; ++i) data.belief[i] = static_cast<tv_number_t>(totals[i] / whole);
    return tv_status_none;
  }

  const Sweep& sweep_;
  const Tape& tape_;
  TreeEngine& engine_;
  JunctionTree& tree_;
  ParallelSettings settings_;
  Workers workers_{settings_.concurrency_level};
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

tv_status_t run_messages(const Sweep& sweep, const Tape& tape) { return Runner(sweep, tape).run(); }

tv_status_t _tv_jt_global_propagate(const Sweep& sweep, size_t root) {
  TreeEngine& engine = sweep.engine;
  for (const uint32_t clique : engine.marked) {
    if (engine.cliques[clique].measured) continue;
    engine.cliques[clique].measured = true;
    engine.measured.push_back(clique);
  }
  return run_messages(sweep, plan_messages(sweep, root));
}

}  // namespace tv
