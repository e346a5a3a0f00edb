// Messages between cliques (Jensen, Lauritzen and Olesen 1990; Dawid 1992 for max). Each clique is run over
// once while collecting (its potentials and the messages of all senders are multiplied and the outgoing
// marginal is formed in one pass) and once while distributing.

#include "inference/messages.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "inference/findings_marginal.h"
#include "inference/schedule.h"
#include "network/progress.h"
#include "tables/number_bounds.h"

namespace tv {
namespace {

constexpr float kOne = 1.0f;
constexpr double kLargestRatioSum = 8.988465674311579e+307;  // 2 to the power 1023

Operation marginal_of(const Sweep& sweep) noexcept {
  return sweep.equilibrium == tv_equilibrium_max ? Operation::max : Operation::sum;
}

void add_initial_product(TreeEngine& engine, CliqueWork& work) {
  Operation operation = Operation::assign;
  for (PotentialPlan& plan : work.potentials) {
    refresh_potential(work, plan);
    const Table* table = plan.node->table.get();
    if (table)
      engine.steps.push_back({operation, &plan.control, table->data.data() + fixed_offset(work, plan)});
    else
      engine.steps.push_back({operation, &work.scalar, &plan.uniform});
    operation = Operation::multiply;
  }
  if (work.potentials.empty()) engine.steps.push_back({Operation::assign, &work.scalar, &kOne});
}

// Findings that were entered on members since the last propagation.
void add_findings(TreeEngine& engine, CliqueWork& work) {
  size_t used = 0;
  for (size_t member : work.findings) {
    const CompiledNode& data = compiled(*(*work.table.members)[member]);
    const float* update = data.update;
    if (work.table.dimension_of[member] == kNone) {
      const size_t state = work.table.fixed[member] ? static_cast<size_t>(data.fixed_state) : 0;
      engine.steps.push_back({Operation::multiply, &work.scalar, update + state});
      continue;
    }
    Control control;
    control.steps = engine.finding_steps.data() + used;
    control.inner = engine.finding_nests.data() + used;
    used += work.table.shape.dimensions;
    plan_member(control, work.table, member);
    engine.finding_controls.push_back(control);
    engine.steps.push_back({Operation::multiply, &engine.finding_controls.back(), update});
  }
}

// Whether the clique at the other end lies beyond this one, seen from the root.
bool leads_away(const TreeEngine& engine, const LinkPlan& link) noexcept {
  return engine.reached_by[link.neighbor] == link.back;
}

// Whether all that a clique adds to what its neighbour towards the root knows are the distributions of the
// nodes that the neighbour lacks, with nothing known about them: they sum to one.
bool is_silent(const TreeEngine& engine, const CliqueWork& work, const LinkPlan& towards_root) noexcept {
  if (!work.findings.empty()) return false;
  for (const LinkPlan& link : work.links)
    if (leads_away(engine, link) && !engine.silent[link.neighbor]) return false;
  size_t own = 0;
  for (size_t m = 0; m < towards_root.member_of.size(); ++m) {
    if (towards_root.member_of[m] != kNone) continue;
    const CompiledNode& data = compiled(*(*work.table.members)[m]);
    if (data.assigned != work.clique || data.propagated_state != kNoEvidence) return false;
    ++own;
  }
  return own == work.potentials.size();
}

// Decides who is silent in this propagation: with a past, or when maxima are sought, nobody is.
void find_silent_cliques(const Sweep& sweep) noexcept {
  TreeEngine& engine = sweep.engine;
  std::fill(engine.silent.begin(), engine.silent.end(), 0);
  if (!sweep.first || sweep.equilibrium != tv_equilibrium_sum) return;
  for (size_t i = engine.order.size(); i-- > 1;) {
    const CliqueWork& work = engine.cliques[engine.order[i]];
    engine.silent[engine.order[i]] = is_silent(engine, work, work.links[engine.reached_by[engine.order[i]]]);
  }
}

void run_steps(TreeEngine& engine, CliqueWork& work) {
  if (engine.steps.empty()) return;
  const bool changes = engine.steps.front().target == nullptr;
  run_pass(work.table.shape, work.table.numbers, engine.steps.data(), engine.steps.size(),
           parallel_settings(*engine.domain));
  engine.steps.clear();
  if (changes) ++work.version;
  work.initialized = true;
}

// A factor taken out of a clique's table goes into the constants instead.
void note_factor(const Sweep& sweep, CliqueWork& work, double factor) noexcept {
  TreeEngine& engine = sweep.engine;
  engine.factor_mantissa *= factor;
  if (!(engine.factor_mantissa > 1e-200 && engine.factor_mantissa < 1e200)) {
    int exponent = 0;
    engine.factor_mantissa = std::frexp(engine.factor_mantissa, &exponent);
    engine.factor_exponent += exponent;
  }
  if (engine.tree->equilibrium != tv_equilibrium_none) work.clique->conflict /= factor;
}

void set_constants(TreeEngine& engine) noexcept {
  JunctionTree& tree = *engine.tree;
  const int exponent = static_cast<int>(std::clamp(engine.factor_exponent, -100000L, 100000L));
  tree.step_constant = std::ldexp(engine.factor_mantissa, exponent);
  tree.step_log_constant =
      std::log(engine.factor_mantissa) + static_cast<double>(engine.factor_exponent) * std::numbers::ln2;
  tree.constant *= tree.step_constant;
  tree.log_constant += tree.step_log_constant;
}

// Scales the table so that its largest entry lies between one and two: the power of two costs no precision.
// The next pass multiplies the factor in.
tv_status_t rescale_table(const Sweep& sweep, CliqueWork& work) {
  double largest = 0.0;
  sweep.engine.steps.push_back({Operation::max, &work.scalar, nullptr, &largest});
  run_steps(sweep.engine, work);
  if (tv_status_t status = _tv_check_norm_factor(largest)) return status;
  const int exponent = std::clamp(std::ilogb(largest), -126, 126);
  work.rescaling = std::ldexp(1.0f, -exponent);
  note_factor(sweep, work, std::ldexp(1.0, exponent));
  sweep.engine.steps.push_back({Operation::multiply, &work.scalar, &work.rescaling});
  return tv_status_none;
}

// The steps that bring a clique's table up to date while collecting.
void add_updates(TreeEngine& engine, CliqueWork& work, size_t towards_root) {
  engine.steps.clear();
  engine.finding_controls.clear();
  if (!work.initialized) add_initial_product(engine, work);
  for (size_t l = 0; l < work.links.size(); ++l)
    if (l != towards_root && leads_away(engine, work.links[l]) && !engine.silent[work.links[l].neighbor])
      engine.steps.push_back({Operation::multiply, &work.links[l].control,
                              engine.separators[work.links[l].separator].ratio});
  add_findings(engine, work);
}

// Runs the steps of `add_updates`, all but the last `together` of them, which are left for the pass that also
// forms the outgoing marginal. Messages and potentials have entries of at most about one; a product of very many
// of them could underflow, so the table is rescaled in between.
tv_status_t run_most_updates(const Sweep& sweep, CliqueWork& work, size_t together) {
  TreeEngine& engine = sweep.engine;
  if (engine.steps.size() <= together || sweep.plain) return tv_status_none;
  engine.updates.assign(engine.steps.begin(), engine.steps.end());
  engine.steps.clear();
  for (size_t u = 0; u < engine.updates.size(); ++u) {
    if (u > 0 && u % together == 0)
      if (tv_status_t status = rescale_table(sweep, work)) return status;
    engine.steps.push_back(engine.updates[u]);
  }
  return tv_status_none;
}

double evidence_of_departing_members(const Sweep& sweep, const CliqueWork& work, const Clique* target) noexcept {
  double product = 1.0;
  for (const Node* node : *work.table.members) {
    const CompiledNode& data = compiled(*node);
    if (data.propagated_state != kNoEvidence && !(target && target->members().contains(node)))
      product *= probability_of_evidence(*node, data.propagated_state, data.propagated_finding, sweep.equilibrium);
  }
  return product;
}

tv_status_t check_ratio(const Sweep& sweep, const RatioResult& result) noexcept {
  if (sweep.mode == tv_evidence_fast_retraction) return result.lost_entry ? tv_status_fast_retraction : tv_status_none;
  return !sweep.first && result.sum > kLargestRatioSum ? tv_status_inconsistency_or_underflow : tv_status_none;
}

void marginalize_onto(const Sweep& sweep, const CliqueWork& work, const LinkPlan& link, double* totals) noexcept {
  marginalize_with_findings(
      work.table, [&](size_t member) { return link.member_of[member] != kNone; }, link.control.steps,
      sweep.equilibrium, totals);
}

// Turns the marginal that `work` formed into the rescaled update for the clique nearer to the root.
tv_status_t finish_collect_message(const Sweep& sweep, CliqueWork& work, const LinkPlan& link) {
  TreeEngine& engine = sweep.engine;
  JunctionTree& tree = *engine.tree;
  SeparatorWork& separator = engine.separators[link.separator];
  const size_t size = separator.old.shape.size;
  const RatioResult result = (sweep.first ? kernels().take : kernels().divide)(
      engine.totals.data(), separator.old.numbers, separator.ratio, size);
  if (sweep.plain) return tv_status_none;
  if (tv_status_t status = check_ratio(sweep, result)) return status;
  const double mass = sweep.equilibrium == tv_equilibrium_sum ? result.sum : result.largest;
  if (tv_status_t status = _tv_check_norm_factor(mass)) return status;
  if (tv_status_t status = _tv_check_norm_factor(result.largest)) return status;
  // A clique's conflict is measured by the mass of its message, but the message itself is scaled by its largest
  // entry: a message that says nothing then multiplies by ones, however many such messages there are.
  const Clique& target = *engine.cliques[link.neighbor].clique;
  if (tree.equilibrium != tv_equilibrium_none) {
    if (sweep.mode == tv_evidence_fast_retraction)
      work.clique->conflict *= evidence_of_departing_members(sweep, work, &target);
    engine.cliques[link.neighbor].clique->conflict *= work.clique->conflict;
    work.clique->conflict /= mass;
  }
  note_factor(sweep, engine.cliques[link.neighbor], result.largest);
  kernels().scale(separator.ratio, size, 1.0 / result.largest);
  return tv_status_none;
}

constexpr size_t kUpdatesTogether = 8;
constexpr double kSuspiciousMass = 5.421010862427522e-20;  // 2 to the power -64

// Brings a clique up to date and forms the marginal of `control` in `totals`. Where little mass is left of the
// potentials' product, entries may have been lost on the way: it is then formed again step by step.
tv_status_t update_and_marginalize(const Sweep& sweep, CliqueWork& work, size_t towards_root, const Control& control,
                                   double* totals, size_t size) {
  TreeEngine& engine = sweep.engine;
  const bool can_repeat = !work.initialized && !sweep.plain;
  const double mantissa = engine.factor_mantissa;
  const long exponent = engine.factor_exponent;
  for (size_t together : {kUpdatesTogether, size_t{1}}) {
    engine.factor_mantissa = mantissa;
    engine.factor_exponent = exponent;
    std::fill(totals, totals + size, 0.0);
    add_updates(engine, work, towards_root);
    tv_status_t status = run_most_updates(sweep, work, together);
    double table_sum = 0.0;
    if (status == tv_status_none) {
      if (sweep.equilibrium == tv_equilibrium_max)
        engine.steps.push_back({Operation::sum, &work.scalar, nullptr, &table_sum});
      if (sweep.mode == tv_evidence_normal || towards_root == kNone)
        engine.steps.push_back({marginal_of(sweep), &control, nullptr, totals});
      run_steps(engine, work);
      if (sweep.equilibrium == tv_equilibrium_max && !sweep.plain) status = _tv_check_norm_factor(table_sum);
    }
    const double mass = std::accumulate(totals, totals + size, 0.0);
    if (can_repeat && together > 1 && !(mass >= kSuspiciousMass)) {
      work.initialized = false;
      continue;
    }
    work.findings.clear();
    return status;
  }
  return tv_status_error;
}

tv_status_t collect_from(const Sweep& sweep, size_t clique) {
  TreeEngine& engine = sweep.engine;
  CliqueWork& work = engine.cliques[clique];
  const size_t via = engine.reached_by[clique];
  const LinkPlan& link = work.links[via];
  double* totals = engine.totals.data();
  const size_t size = engine.separators[link.separator].old.shape.size;
  if (tv_status_t status = update_and_marginalize(sweep, work, via, link.control, totals, size)) return status;
  if (sweep.mode == tv_evidence_fast_retraction) marginalize_onto(sweep, work, link, totals);
  return finish_collect_message(sweep, work, link);
}

// Brings the root up to date and finds the constant by which it will be normalised.
tv_status_t collect_root(const Sweep& sweep, size_t root, double& constant) {
  TreeEngine& engine = sweep.engine;
  JunctionTree& tree = *engine.tree;
  CliqueWork& work = engine.cliques[root];
  if (tv_status_t status = update_and_marginalize(sweep, work, kNone, work.scalar, &constant, 1)) return status;
  if (sweep.plain) return tv_status_none;
  if (tv_status_t status = _tv_check_norm_factor(constant)) return status;
  if (tree.equilibrium != tv_equilibrium_none) {
    work.clique->conflict /= constant;
    if (sweep.mode == tv_evidence_fast_retraction)
      work.clique->conflict *= evidence_of_departing_members(sweep, work, nullptr);
    tree.conflict = work.clique->conflict;
  }
  engine.factor_mantissa *= constant;
  set_constants(engine);
  return tv_status_none;
}

// Stores a belief so that it sums to one (or its largest entry is one, under max).
tv_status_t store_belief(const Sweep& sweep, const Node& node, const double* totals) noexcept {
  double whole = 0.0;
  for (size_t i = 0; i < node.number_of_states; ++i)
    whole = sweep.equilibrium == tv_equilibrium_sum ? whole + totals[i] : std::max(whole, totals[i]);
  if (!(whole >= kSmallestNormalFloat)) return tv_status_normalization;
  for (size_t i = 0; i < node.number_of_states; ++i)
    compiled(node).belief[i] = static_cast<tv_number_t>(totals[i] / whole);
  return tv_status_none;
}

void store_known_state(const Node& node) noexcept {
  const CompiledNode& data = compiled(node);
  std::fill(data.belief, data.belief + node.number_of_states, 0.0f);
  data.belief[data.fixed_state] = 1.0f;
}

// Adds the steps for the wanted beliefs of a table (normal mode), or reads them at once with the findings.
void start_beliefs(const Sweep& sweep, const RestrictedTable& table, const std::vector<BeliefPlan>& plans) {
  TreeEngine& engine = sweep.engine;
  double* totals = engine.belief_totals.data();
  for (const BeliefPlan& plan : plans) {
    const CompiledNode& data = compiled(*plan.node);
    if (!data.belief_wanted || data.fixed_state >= 0) continue;
    std::fill(totals, totals + plan.node->number_of_states, 0.0);
    if (sweep.mode == tv_evidence_normal)
      engine.steps.push_back({marginal_of(sweep), &plan.control, nullptr, totals});
    else
      marginalize_with_findings(
          table, [&](size_t member) { return member == plan.member; }, plan.control.steps, sweep.equilibrium, totals);
    totals += plan.node->number_of_states;
  }
}

tv_status_t finish_beliefs(const Sweep& sweep, const std::vector<BeliefPlan>& plans) noexcept {
  const double* totals = sweep.engine.belief_totals.data();
  for (const BeliefPlan& plan : plans) {
    const CompiledNode& data = compiled(*plan.node);
    if (!data.belief_wanted) continue;
    if (data.fixed_state >= 0) {
      store_known_state(*plan.node);
      continue;
    }
    if (tv_status_t status = store_belief(sweep, *plan.node, totals)) return status;
    totals += plan.node->number_of_states;
  }
  return tv_status_none;
}

tv_status_t update_separator_beliefs(const Sweep& sweep, SeparatorWork& separator) {
  TreeEngine& engine = sweep.engine;
  start_beliefs(sweep, separator.old, separator.beliefs);
  if (!engine.steps.empty())
    run_pass(separator.old.shape, separator.old.numbers, engine.steps.data(), engine.steps.size(),
             parallel_settings(*engine.domain));
  engine.steps.clear();
  return finish_beliefs(sweep, separator.beliefs);
}

// Messages to the receivers links[first..last) of a clique, formed side by side in `totals`.
struct Receivers {
  size_t first = 0, last = 0;
};

// Takes as many receivers as fit into the room for totals and adds their steps.
Receivers start_messages(const Sweep& sweep, CliqueWork& work, size_t first) {
  TreeEngine& engine = sweep.engine;
  Receivers receivers = {first, first};
  size_t used = 0;
  for (; receivers.last < work.links.size(); ++receivers.last) {
    const LinkPlan& link = work.links[receivers.last];
    if (!leads_away(engine, link)) continue;
    const size_t size = engine.separators[link.separator].old.shape.size;
    if (used > 0 && used + size > engine.totals.size()) break;
    double* totals = engine.totals.data() + used;
    std::fill(totals, totals + size, 0.0);
    if (sweep.mode == tv_evidence_normal)
      engine.steps.push_back({marginal_of(sweep), &link.control, nullptr, totals});
    used += size;
  }
  return receivers;
}

tv_status_t finish_messages(const Sweep& sweep, CliqueWork& work, const Receivers& receivers) {
  TreeEngine& engine = sweep.engine;
  double* totals = engine.totals.data();
  for (size_t l = receivers.first; l < receivers.last; ++l) {
    const LinkPlan& link = work.links[l];
    if (!leads_away(engine, link)) continue;
    SeparatorWork& separator = engine.separators[link.separator];
    const size_t size = separator.old.shape.size;
    if (sweep.mode == tv_evidence_fast_retraction) marginalize_onto(sweep, work, link, totals);
    const RatioResult result = (engine.silent[link.neighbor] ? kernels().take : kernels().divide)(
        totals, separator.old.numbers, separator.ratio, size);
    if (tv_status_t status = check_ratio(sweep, result)) return status;
    totals += size;
    if (tv_status_t status = update_separator_beliefs(sweep, separator)) return status;
  }
  return tv_status_none;
}

// `inverse` is 1 / constant for the root; other cliques first take the message that came to them.
tv_status_t distribute_from(const Sweep& sweep, size_t clique, const float* inverse) {
  TreeEngine& engine = sweep.engine;
  CliqueWork& work = engine.cliques[clique];
  const size_t via = engine.reached_by[clique];
  engine.steps.clear();
  if (!work.initialized) add_initial_product(engine, work);
  if (via == kNone) {
    if (inverse) engine.steps.push_back({Operation::multiply, &work.scalar, inverse});
  } else {
    engine.steps.push_back({Operation::multiply, &work.links[via].control,
                            engine.separators[work.links[via].separator].ratio});
  }
  if (sweep.mode == tv_evidence_fast_retraction) run_steps(engine, work);
  start_beliefs(sweep, work.table, work.beliefs);
  Receivers receivers = start_messages(sweep, work, 0);
  run_steps(engine, work);
  if (tv_status_t status = finish_beliefs(sweep, work.beliefs)) return status;
  for (;;) {
    if (tv_status_t status = finish_messages(sweep, work, receivers)) return status;
    if (receivers.last == work.links.size()) return tv_status_none;
    receivers = start_messages(sweep, work, receivers.last);
    run_steps(engine, work);
  }
}

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
    const double term = static_cast<double>(belief[i]) * (state == kFindingVector ? static_cast<double>(finding[i]) : 1.0);
    total = equilibrium == tv_equilibrium_sum ? total + term : std::max(total, term);
  }
  return total;
}

tv_status_t _tv_jt_global_propagate(const Sweep& sweep, size_t root) {
  TreeEngine& engine = sweep.engine;
  ProgressMeter progress(*engine.domain, "propagation", 2 * engine.cliques.size());
  order_from(engine, root);
  find_silent_cliques(sweep);
  engine.factor_mantissa = 1.0;
  engine.factor_exponent = 0;
  for (size_t i = engine.order.size(); i-- > 1;) {
    if (tv_status_t status = progress.advance()) return status;
    if (engine.silent[engine.order[i]]) continue;
    if (tv_status_t status = collect_from(sweep, engine.order[i])) return status;
  }
  double constant = 1.0;
  if (tv_status_t status = collect_root(sweep, root, constant)) return status;

  if (engine.order.size() < engine.cliques.size()) {
    mark_cliques_with_member(engine, [](const CompiledNode& node) { return node.belief_wanted; });
    _tv_identify_subtree(engine, root);
    order_from(engine, root);
  }
  const float inverse = static_cast<float>(1.0 / constant);
  for (size_t clique : engine.order) {
    if (tv_status_t status = progress.advance()) return status;
    if (tv_status_t status = distribute_from(sweep, clique, sweep.plain ? nullptr : &inverse)) return status;
  }
  return tv_status_none;
}

}  // namespace tv
