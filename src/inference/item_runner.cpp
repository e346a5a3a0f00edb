#include "inference/item_runner.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "api/float_environment.h"
#include "inference/factored.h"
#include "inference/findings_marginal.h"
#include "tables/double_pass.h"
#include "tables/long_arrays.h"
#include "tables/number_bounds.h"

namespace tv {
namespace {

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

}  // namespace

// ---- Items ----

tv_status_t ItemRunner::run(const Lane& lane, const Item& item, CollectOutcome& outcome) {
  switch (item.kind) {
    case ItemKind::collect:
      return collect(lane, item, outcome);
    case ItemKind::root:
      return collect_root(lane, item, outcome);
    case ItemKind::pass:
      return run_table_pass(lane, item);
    case ItemKind::separator_pass:
      return run_separator_pass(lane, item), tv_status_none;
    case ItemKind::message:
      return send(lane, item);
    case ItemKind::belief:
      return store_belief(lane, item);
  }
  return tv_status_error;
}

// ---- Passes over a clique's table ----

// Tapes are written for the totals of the engine. Other lanes need room for the steps.
const Step* ItemRunner::steps_for(const Lane& lane, const Step* steps, size_t count,
                                  Step* moved) const noexcept {
  if (lane.totals == engine_.totals.data()) return steps;
  for (size_t s = 0; s < count; ++s) {
    moved[s] = steps[s];
    double*& target = moved[s].target;
    if (target >= engine_.totals.begin() && target < engine_.totals.end())
      target = lane.totals + (target - engine_.totals.begin());
    else if (target >= engine_.belief_totals.begin() && target < engine_.belief_totals.end())
      target = lane.belief_totals + (target - engine_.belief_totals.begin());
  }
  return moved;
}

void ItemRunner::run_pass_in(const Lane& lane, const Shape& shape, float* numbers, const Step* steps,
                             size_t count) {
  Step moved[kMostFormingSteps];
  run_pass(shape, numbers, steps_for(lane, steps, count, moved), count, lane.settings);
}

// A pass over a clique without a table. Where single precision is left on the way, its products are doubles;
// false where these do not suffice. `clear` sets the totals to zero.
template <class Clear>
bool ItemRunner::run_over_products(const Lane& lane, const Item& item, Clear clear) {
  const unsigned earlier = range_flags();
  clear_range_flags();
  clear();
  run_steps(lane, item, steps(item), item.step_count);
  if (range_flags()) {
    clear_range_flags();
    clear();
    Step moved[kMostFormingSteps];
    run_double_pass(item.shape, steps_for(lane, steps(item), item.step_count, moved), item.step_count);
  }
  const bool succeeds = !range_flags();
  raise_range_flags(earlier);
  return succeeds;
}

void ItemRunner::run_steps(const Lane& lane, const Item& item, const Step* steps, size_t count) {
  if (count == 0) return;
  run_pass_in(lane, item.shape, work(item).table.numbers, steps, count);
  work(item).initialized = true;
  if (!steps->target) ++work(item).version;
}

tv_status_t ItemRunner::run_table_pass(const Lane& lane, const Item& item) {
  const auto clear = [&] {
    clear_array(lane.totals, item.clear_totals, lane.settings);
    std::fill_n(lane.belief_totals, item.clear_beliefs, 0.0);
  };
  if (item.formed > 0 && work(item).factored)
    return run_over_products(lane, item, clear) ? tv_status_none : kOutOfRange;
  clear();
  if (item.formed == 0) return run_steps(lane, item, steps(item), item.step_count), tv_status_none;
  if (!item.repeats) bring_up_to_date(lane, item);
  run_steps(lane, item, steps(item) + item.formed, item.step_count - item.formed);
  return tv_status_none;
}

// The tape was written for a factored clique, but its table is stored meanwhile: only the news are missing.
void ItemRunner::bring_up_to_date(const Lane& lane, const Item& item) {
  if (item.link == static_cast<uint32_t>(kNone)) {
    const ScalarControl control(item.shape);
    const Step normalize = {Operation::multiply, &control, &engine_.inverse};
    run_steps(lane, item, &normalize, 1);
    return;
  }
  const float* message = work(item).links[item.link].received;
  const Step* factor = steps(item);
  while (factor->operand != message) ++factor;
  const Step update = {Operation::multiply, factor->control, message};
  run_steps(lane, item, &update, 1);
}

void ItemRunner::run_separator_pass(const Lane& lane, const Item& item) {
  std::fill_n(lane.belief_totals, item.clear_beliefs, 0.0);
  if (item.step_count) run_pass_in(lane, item.shape, item.numbers, steps(item), item.step_count);
}

// ---- Factors ----

// A factor taken out of a clique's table goes into the constants instead.
void ItemRunner::note_factor(CliqueWork& work, double factor) noexcept {
  take_out_factor(engine_, factor);
  if (tree_.equilibrium != tv_equilibrium_none) work.clique->conflict /= factor;
}

void ItemRunner::note_power(CliqueWork& work, int exponent) noexcept {
  engine_.factor_exponent += exponent;
  if (tree_.equilibrium != tv_equilibrium_none)
    work.clique->conflict = std::ldexp(work.clique->conflict, -exponent);
}

void ItemRunner::set_constants() noexcept {
  const int exponent = static_cast<int>(std::clamp(engine_.factor_exponent, -100000L, 100000L));
  tree_.step_constant = std::ldexp(engine_.factor_mantissa, exponent);
  tree_.step_log_constant =
      std::log(engine_.factor_mantissa) + static_cast<double>(engine_.factor_exponent) * std::numbers::ln2;
  engine_.knows_constants = true;
  tree_.constant *= tree_.step_constant;
  tree_.log_constant += tree_.step_log_constant;
}

// Scales the table so that its largest entry lies between one and two: the power of two costs no precision.
tv_status_t ItemRunner::rescale_table(const Lane& lane, const Item& item, CollectOutcome& outcome) {
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
tv_status_t ItemRunner::run_in_parts(const Lane& lane, const Item& item, size_t together,
                                     CollectOutcome& outcome) {
  for (size_t first = 0; first < item.updates; first += together) {
    if (first > 0)
      if (tv_status_t status = rescale_table(lane, item, outcome)) return status;
    run_steps(lane, item, steps(item) + first, std::min<size_t>(together, item.updates - first));
  }
  run_steps(lane, item, steps(item) + item.updates, item.step_count - item.updates);
  return tv_status_none;
}

// Brings a clique up to date and forms the outgoing marginal. Where products leave the range of ordinary
// numbers and little is left of all of them, the table is formed again and rescaled after each step.
tv_status_t ItemRunner::update_and_marginalize(const Lane& lane, const Item& item, double* totals,
                                               size_t size, CollectOutcome& outcome) {
  if (item.updates > limits.most_updates) return kOutOfRange;
  const bool can_repeat = item.starts_anew && item.updates > 1;
  tv_status_t status = tv_status_none;
  const auto clear = [&] {
    clear_array(totals, size, lane.settings);
    if (sweep_.equilibrium == tv_equilibrium_max) engine_.table_sum = 0.0;  // else it is not asked for
  };
  clear_range_flags();
  if (work(item).factored) {
    if (!run_over_products(lane, item, clear)) return kOutOfRange;
  } else {
    for (size_t together : {limits.updates_together, size_t{1}}) {
      clear();
      outcome.exponent = 0;
      status = tv_status_none;
      if (item.updates <= together)
        run_steps(lane, item, steps(item), item.step_count);
      else
        status = run_in_parts(lane, item, together, outcome);
      if (!range_flags()) break;
      if (!can_repeat || together == 1 || holds_mass(totals, size)) return kOutOfRange;
      clear_range_flags();
    }
  }
  work(item).findings.clear();
  if (status == tv_status_none && sweep_.equilibrium == tv_equilibrium_max)
    status = _tv_check_norm_factor(engine_.table_sum);
  return status;
}

// ---- Collecting ----

tv_status_t ItemRunner::check_ratio(const RatioResult& result, bool has_past) const noexcept {
  if (weighs_findings_) return result.lost_entry ? tv_status_fast_retraction : tv_status_none;
  return has_past && result.sum > kLargestRatioSum ? tv_status_inconsistency_or_underflow : tv_status_none;
}

double ItemRunner::evidence_of_departing_members(const CliqueWork& work,
                                                 const Clique* target) const noexcept {
  double product = 1.0;
  for (const Node* node : *work.table.members) {
    const CompiledNode& data = compiled(*node);
    if (data.propagated_state != kNoEvidence && !(target && target->members().contains(node)))
      product *= probability_of_evidence(*node, data.propagated_state, propagated_finding(*node),
                                         sweep_.equilibrium);
  }
  return product;
}

void ItemRunner::marginalize_onto(const CliqueWork& work, const LinkPlan& link,
                                  double* totals) const noexcept {
  size_t steps[64];
  step_in_separator(work.table, link, engine_.separators[link.separator].old, steps);
  marginalize_with_findings(
      work.table, [&](size_t member) { return link.member_of[member] != kNoMember; }, steps,
      sweep_.equilibrium, totals);
}

// The marginal becomes the rescaled update for the clique nearer to the root.
tv_status_t ItemRunner::collect(const Lane& lane, const Item& item, CollectOutcome& outcome) {
  CliqueWork& here = work(item);
  const LinkPlan& link = here.links[item.link];
  if (tv_status_t status = update_and_marginalize(lane, item, lane.totals, item.size, outcome)) return status;
  if (weighs_findings_) marginalize_onto(here, link, lane.totals);
  SeparatorWork& separator = engine_.separators[link.separator];
  float* message = place_of_message(item);
  const RatioResult result = (item.has_past ? divide_array : take_array)(lane.totals, separator.old.numbers,
                                                                         message, item.size, lane.settings);
  if (range_flags()) return kOutOfRange;
  if (tv_status_t status = check_ratio(result, item.has_past)) return status;
  outcome.mass = sweep_.equilibrium == tv_equilibrium_sum ? result.sum : result.largest;
  outcome.largest = result.largest;
  if (tv_status_t status = _tv_check_norm_factor(outcome.mass)) return status;
  if (tv_status_t status = _tv_check_norm_factor(outcome.largest)) return status;
  scale_array(message, item.size, 1.0 / outcome.largest, lane.settings);
  if (range_flags()) return kOutOfRange;
  keep_message(item);
  return tv_status_none;
}

void ItemRunner::account_for(const Item& item, const CollectOutcome& outcome) noexcept {
  if (item.kind != ItemKind::collect) return;
  CliqueWork& here = work(item);
  CliqueWork& receiver = engine_.cliques[here.links[item.link].neighbor];
  note_power(here, outcome.exponent);
  pass_conflict_on(here, receiver, outcome.mass);
  note_factor(receiver, outcome.largest);
}

float* ItemRunner::place_of_message(const Item& item) const noexcept {
  const LinkPlan& link = work(item).links[item.link];
  const CliqueWork& receiver = engine_.cliques[link.neighbor];
  return tv::place_of_message(receiver, receiver.links[link.back], engine_.separators[link.separator]);
}

void ItemRunner::keep_message(const Item& item) const noexcept {
  const LinkPlan& link = work(item).links[item.link];
  CliqueWork& receiver = engine_.cliques[link.neighbor];
  tv::keep_message(receiver, receiver.links[link.back], engine_.separators[link.separator], item.size);
}

// A clique's conflict is measured by the mass of its message, but the message itself is scaled by its
// largest entry: a message that says nothing then multiplies by ones, however many such messages there are.
void ItemRunner::pass_conflict_on(CliqueWork& from, CliqueWork& to, double mass) noexcept {
  if (tree_.equilibrium == tv_equilibrium_none) return;
  if (weighs_findings_) from.clique->conflict *= evidence_of_departing_members(from, to.clique);
  to.clique->conflict *= from.clique->conflict;
  from.clique->conflict /= mass;
}

// Brings the root up to date and finds the constant by which it will be normalised.
tv_status_t ItemRunner::collect_root(const Lane& lane, const Item& item, CollectOutcome& outcome) {
  CliqueWork& here = work(item);
  if (tv_status_t status = update_and_marginalize(lane, item, &engine_.mass, 1, outcome)) return status;
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

tv_status_t ItemRunner::normalize_root() noexcept {
  if (tv_status_t status = _tv_check_norm_factor(engine_.mass)) return status;
  engine_.factor_mantissa *= engine_.mass;
  set_constants();
  engine_.inverse = static_cast<float>(1.0 / engine_.mass);
  return tv_status_none;
}

// Normalises a factored root through the smallest of its factors.
void ItemRunner::normalize_factors(const Item& item) noexcept {
  const Step* smallest = nullptr;
  for (const Step* step = steps(item); step < steps(item) + item.formed; ++step) {
    const bool is_kept =
        (step->operand >= engine_.numbers.begin() && step->operand < engine_.numbers.end()) ||
        step->operand == &work(item).constant;
    if (is_kept && (!smallest || step->control->other_size < smallest->control->other_size)) smallest = step;
  }
  kernels().scale(const_cast<float*>(smallest->operand), smallest->control->other_size, 1.0 / engine_.mass);
}

// ---- Distributing ----

tv_status_t ItemRunner::send(const Lane& lane, const Item& item) {
  const LinkPlan& link = work(item).links[item.link];
  SeparatorWork& separator = engine_.separators[link.separator];
  double* totals = lane.totals + item.totals;
  if (weighs_findings_) marginalize_onto(work(item), link, totals);
  const RatioResult result = (item.has_past ? divide_array : take_array)(
      totals, separator.old.numbers, place_of_message(item), item.size, lane.settings);
  keep_message(item);
  const tv_status_t status = check_ratio(result, item.has_past);
  return status && range_flags() ? kOutOfRange : status;
}

// Stores a belief so that it sums to one (or its largest entry is one, under max).
tv_status_t ItemRunner::store_belief(const Lane& lane, const Item& item) noexcept {
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
        *item.table, [&](size_t member) { return member == plan.member; }, steps, sweep_.equilibrium, totals);
  }
  double whole = 0.0;
  for (size_t i = 0; i < states; ++i)
    whole = sweep_.equilibrium == tv_equilibrium_sum ? whole + totals[i] : std::max(whole, totals[i]);
  if (!(whole >= kSmallestNormalFloat)) return kOutOfRange;
  for (size_t i = 0; i < states; ++i) data.belief[i] = static_cast<tv_number_t>(totals[i] / whole);
  return tv_status_none;
}

}  // namespace tv
