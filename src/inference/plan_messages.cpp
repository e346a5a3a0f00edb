// Writing down a propagation: which passes are made, in which order, and what each of them multiplies and
// sums. Each clique is run over once while collecting (its potentials and the messages of all senders are
// multiplied and the outgoing marginal is formed in one pass) and once while distributing.

#include <algorithm>

#include "inference/evidence.h"
#include "inference/factored.h"
#include "inference/messages.h"
#include "inference/schedule.h"
#include "inference/tape_cache.h"

namespace tv {
namespace {

constexpr float kOne = 1.0f;

class Planner {
 public:
  Planner(const Sweep& sweep, size_t root, TapeLists& lists) noexcept
      : sweep_(sweep),
        engine_(sweep.engine),
        lists_(lists),
        root_(root),
        weighs_findings_(sweep.mode == tv_evidence_fast_retraction),
        marginal_(sweep.equilibrium == tv_equilibrium_max ? Operation::max : Operation::sum) {
    order_from(engine_, root);
    find_silent_cliques();
    left_ = engine_.order.size();
  }
  ~Planner() {
    for (size_t clique : engine_.order) engine_.silent[clique] = engine_.spoke[clique] = 0;
  }
  Planner(const Planner&) = delete;
  Planner& operator=(const Planner&) = delete;

  // Writes what the next clique does behind what has been written; false at the end.
  bool write() noexcept {
    scalar_of_ = nullptr;
    if (distributes_) return write_distribution();
    while (left_ > 1) {
      const size_t clique = engine_.order[--left_];
      if (!engine_.silent[clique]) return plan_collect(clique), true;
    }
    plan_root(root_);
    widen_to_wanted_beliefs(root_);
    distributes_ = true;
    left_ = engine_.order.size();
    return true;
  }

 private:
  bool write_distribution() noexcept {
    if (left_ == 0) return false;
    plan_distribute(engine_.order[engine_.order.size() - left_--]);
    return true;
  }

  CliqueWork& work(size_t clique) const noexcept { return engine_.cliques[clique]; }

  // Whether the clique at the other end lies beyond this one, seen from the root.
  bool leads_away(const LinkPlan& link) const noexcept {
    return engine_.reached_by[link.neighbor] == link.back;
  }

  // Whether all that a clique adds to what its neighbour towards the root knows are the distributions of the
  // nodes that the neighbour lacks, with nothing known about them: they sum to one.
  bool is_silent(const CliqueWork& work, const LinkPlan& towards_root) const noexcept {
    if (!work.findings.empty()) return false;
    for (const LinkPlan& link : work.links)
      if (leads_away(link) && !engine_.silent[link.neighbor]) return false;
    size_t own = 0;
    for (size_t m = 0; m < work.table.members->size(); ++m) {
      const Node& node = *(*work.table.members)[m];
      if (towards_root.member_of[m] != kNoMember || !is_discrete(node)) continue;
      const CompiledNode& data = compiled(node);
      if (data.assigned != work.clique || data.propagated_state != kNoEvidence || data.policy_left_out)
        return false;
      ++own;
    }
    return own == work.potentials.size();
  }

  // With a past, or when maxima are sought, nobody is silent.
  void find_silent_cliques() noexcept {
    if (!sweep_.first || sweep_.equilibrium != tv_equilibrium_sum) return;
    for (size_t i = engine_.order.size(); i-- > 1;) {
      const size_t clique = engine_.order[i];
      engine_.silent[clique] = is_silent(work(clique), work(clique).links[engine_.reached_by[clique]]);
    }
  }

  Item& add_item(ItemKind kind, size_t clique) noexcept {
    Item& item = lists_.items.push_back({});
    item.kind = kind;
    item.clique = static_cast<uint32_t>(clique);
    item.first_step = lists_.steps.size();
    item.shape = work(clique).table.shape;
    item.numbers = work(clique).table.numbers;
    return item;
  }

  void close_steps(Item& item) noexcept {
    item.step_count = static_cast<uint32_t>(lists_.steps.size() - item.first_step);
  }

  void add_initial_product(CliqueWork& work) noexcept {
    Operation operation = Operation::assign;
    for (PotentialPlan& plan : work.potentials) {
      refresh(plan);
      if (plan.node() && compiled(*plan.node()).policy_left_out) {
        lists_.steps.push_back({operation, &scalar_of(work), &kOne});
      } else if (plan.table()) {
        lists_.potential_steps.push_back({plan.copy ? kNone : lists_.steps.size(), &plan});
        lists_.steps.push_back({operation, &controls(work).of_potential(plan), plan.copy});
      } else {
        lists_.steps.push_back({operation, &scalar_of(work), &plan.uniform});
      }
      operation = Operation::multiply;
    }
    if (work.potentials.empty()) lists_.steps.push_back({Operation::assign, &scalar_of(work), &kOne});
  }

  void refresh(PotentialPlan& plan) noexcept {
    if (refresh_potential(plan)) engine_.kept_tapes->clear();  // written for another layout
  }

  // ---- Controls ----

  struct Controls {
    Planner& planner;
    const CliqueWork& work;

    const Control& of_potential(const PotentialPlan& plan) const noexcept {
      return make([&](size_t* steps) { step_in_potential(work.table, plan, steps); });
    }
    const Control& of_link(const LinkPlan& link) const noexcept {
      const SeparatorWork& separator = planner.engine_.separators[link.separator];
      return make([&](size_t* steps) { step_in_separator(work.table, link, separator.old, steps); });
    }
    const Control& of_member(size_t member) const noexcept {
      if (!work.table.spans(member)) return scalar();
      return planner.control_of_member(work.table, member);
    }
    const Control& scalar() const noexcept { return planner.scalar_of(work); }

   private:
    template <class Fill>
    const Control& make(Fill fill) const noexcept {
      const Shape& shape = work.table.shape;
      return planner.lists_.make_control(shape, [&](Control& control) {
        fill(control.steps);
        finish_control(control, shape);
      });
    }
  };

  Controls controls(const CliqueWork& work) noexcept { return {*this, work}; }

  // Meets one and the same entry everywhere in a clique's table. A portion needs one.
  const Control& scalar_of(const CliqueWork& work) noexcept {
    if (scalar_of_ != &work) {
      const Shape& shape = work.table.shape;
      scalar_ = &lists_.make_control(
          shape, [&](Control& control) { meet_dimension(control, shape, shape.dimensions); });
      scalar_of_ = &work;
    }
    return *scalar_;
  }

  // The potentials of a factored clique that starts anew are copied before the tape runs.
  void ask_for_copies(CliqueWork& work) noexcept {
    for (PotentialPlan& plan : work.potentials) {
      refresh(plan);
      if (plan.table()) lists_.potential_steps.push_back({kNone, &plan});
    }
  }

  // All factors of a factored clique. While distributing, the message from the side of the root is the last
  // one that came.
  void add_factors(Item& item, CliqueWork& work, size_t towards_root, bool distributes) noexcept {
    const auto holds = [&](const LinkPlan& link) {
      if (link.holds) return true;
      if (towards_root != kNone && &link == &work.links[towards_root]) return distributes;
      return leads_away(link) && engine_.spoke[link.neighbor];
    };
    for_each_factor(work, holds, controls(work), [&](const Step& step) { lists_.steps.push_back(step); });
    item.formed = static_cast<uint32_t>(lists_.steps.size() - item.first_step);
  }

  // Findings that were entered on members since the last propagation.
  void add_findings(CliqueWork& work) noexcept {
    for (size_t member : work.findings) {
      const Node& node = *(*work.table.members)[member];
      const float* update = update_finding(node);
      if (!work.table.spans(member)) {
        const size_t state =
            work.table.is_fixed(member) ? static_cast<size_t>(compiled(node).fixed_state) : 0;
        lists_.steps.push_back({Operation::multiply, &scalar_of(work), update + state});
        continue;
      }
      lists_.steps.push_back({Operation::multiply, &controls(work).of_member(member), update});
    }
  }

  void add_all_factors(Item& item, CliqueWork& work, size_t towards_root) noexcept {
    if (!work.initialized) ask_for_copies(work);
    add_factors(item, work, towards_root, false);
  }

  const float* ratio_of(const LinkPlan& link) const noexcept {
    return engine_.separators[link.separator].ratio;
  }

  void add_news(CliqueWork& work, size_t towards_root) noexcept {
    if (!work.initialized) add_initial_product(work);
    for (size_t l = 0; l < work.links.size(); ++l)
      if (l != towards_root && leads_away(work.links[l]) && !engine_.silent[work.links[l].neighbor])
        lists_.steps.push_back(
            {Operation::multiply, &controls(work).of_link(work.links[l]), ratio_of(work.links[l])});
    add_findings(work);
  }

  // The steps that bring a clique's table up to date while collecting.
  void add_updates(Item& item, CliqueWork& work, size_t towards_root) noexcept {
    item.starts_anew = work.factored || !work.initialized;
    if (work.factored)
      add_all_factors(item, work, towards_root);
    else
      add_news(work, towards_root);
    item.updates = static_cast<uint32_t>(lists_.steps.size() - item.first_step);
    if (sweep_.equilibrium == tv_equilibrium_max)
      lists_.steps.push_back({Operation::sum, &scalar_of(work), nullptr, &engine_.table_sum});
  }

  void plan_collect(size_t clique) noexcept {
    CliqueWork& here = work(clique);
    const size_t via = engine_.reached_by[clique];
    engine_.spoke[clique] = 1;
    Item& item = add_item(ItemKind::collect, clique);
    item.link = static_cast<uint32_t>(via);
    item.has_past = !sweep_.first;
    item.size = engine_.separators[here.links[via].separator].old.shape.size;
    add_updates(item, here, via);
    if (!weighs_findings_)
      lists_.steps.push_back(
          {marginal_, &controls(here).of_link(here.links[via]), nullptr, engine_.totals.data()});
    close_steps(item);
  }

  void plan_root(size_t root) noexcept {
    Item& item = add_item(ItemKind::root, root);
    add_updates(item, work(root), kNone);
    lists_.steps.push_back({marginal_, &scalar_of(work(root)), nullptr, &engine_.mass});
    close_steps(item);
  }

  // Cliques beyond those that collected take part in distributing where their nodes' beliefs change.
  void widen_to_wanted_beliefs(size_t root) noexcept {
    if (engine_.order.size() == engine_.cliques.size()) return;
    widen_to_wanted(engine_);
    order_from(engine_, root);
  }

  const Control& control_of_member(const RestrictedTable& table, size_t member) noexcept {
    return lists_.make_control(table.shape, [&](Control& control) {
      meet_dimension(control, table.shape, table.dimension_of[member]);
    });
  }

  // The steps for the wanted beliefs of a table; how many totals they need.
  size_t add_belief_steps(const RestrictedTable& table, std::span<const BeliefPlan> plans) noexcept {
    size_t used = 0;
    for (const BeliefPlan& plan : plans) {
      const CompiledNode& data = compiled(*plan.node);
      if (!data.belief_wanted || data.fixed_state >= 0) continue;
      if (!weighs_findings_)
        lists_.steps.push_back({marginal_, &control_of_member(table, plan.member), nullptr,
                                engine_.belief_totals.data() + used});
      used += plan.node->number_of_states;
    }
    return used;
  }

  void add_belief_items(const RestrictedTable& table, std::span<const BeliefPlan> plans) noexcept {
    size_t used = 0;
    for (const BeliefPlan& plan : plans) {
      const CompiledNode& data = compiled(*plan.node);
      if (!data.belief_wanted) continue;
      Item& item = lists_.items.push_back({});
      item.kind = ItemKind::belief;
      item.totals = used;
      item.table = &table;
      item.belief = &plan;
      if (data.fixed_state < 0) used += plan.node->number_of_states;
    }
  }

  // Adds the marginals for receivers from `first` on, as many as there is room for; returns the next one.
  size_t add_message_steps(const CliqueWork& work, size_t first, size_t& used) noexcept {
    size_t l = first;
    for (; l < work.links.size(); ++l) {
      const LinkPlan& link = work.links[l];
      if (!leads_away(link)) continue;
      const size_t size = engine_.separators[link.separator].old.shape.size;
      if (used > 0 && used + size > engine_.totals.size()) break;
      if (!weighs_findings_)
        lists_.steps.push_back(
            {marginal_, &controls(work).of_link(link), nullptr, engine_.totals.data() + used});
      used += size;
    }
    return l;
  }

  void add_message_items(size_t clique, size_t first, size_t last) noexcept {
    size_t used = 0;
    for (size_t l = first; l < last; ++l) {
      const LinkPlan& link = work(clique).links[l];
      if (!leads_away(link)) continue;
      Item& item = add_item(ItemKind::message, clique);
      item.link = static_cast<uint32_t>(l);
      item.has_past = !engine_.silent[link.neighbor];
      item.size = engine_.separators[link.separator].old.shape.size;
      item.totals = used;
      used += item.size;
      plan_separator_beliefs(engine_.separators[link.separator], clique);
    }
  }

  void plan_separator_beliefs(const SeparatorWork& separator, size_t clique) noexcept {
    if (separator.beliefs.empty()) return;
    Item& item = add_item(ItemKind::separator_pass, clique);
    item.shape = separator.old.shape;
    item.numbers = separator.old.numbers;
    item.clear_beliefs = add_belief_steps(separator.old, separator.beliefs);
    close_steps(item);
    add_belief_items(separator.old, separator.beliefs);
  }

  void start_factored_pass(Item& item, CliqueWork& work, size_t via) noexcept {
    if (engine_.silent[work.clique->position]) ask_for_copies(work);
    item.link = static_cast<uint32_t>(via);
    add_factors(item, work, via, true);
  }

  void start_pass(CliqueWork& work, size_t via) noexcept {
    if (engine_.silent[work.clique->position]) add_initial_product(work);
    if (via != kNone)
      lists_.steps.push_back(
          {Operation::multiply, &controls(work).of_link(work.links[via]), ratio_of(work.links[via])});
    else
      lists_.steps.push_back({Operation::multiply, &scalar_of(work), &engine_.inverse});
  }

  void plan_distribute(size_t clique) noexcept {
    CliqueWork& here = work(clique);
    const size_t via = engine_.reached_by[clique];
    Item* item = &add_item(ItemKind::pass, clique);
    if (here.factored)
      start_factored_pass(*item, here, via);
    else
      start_pass(here, via);
    item->clear_beliefs = add_belief_steps(here.table, here.beliefs);
    size_t next = add_message_steps(here, 0, item->clear_totals);
    close_steps(*item);
    add_belief_items(here.table, here.beliefs);
    add_message_items(clique, 0, next);
    while (next < here.links.size()) {
      const size_t first = next;
      item = &add_item(ItemKind::pass, clique);
      item->repeats = true;
      if (here.factored) add_factors(*item, here, via, true);
      next = add_message_steps(here, first, item->clear_totals);
      close_steps(*item);
      add_message_items(clique, first, next);
    }
  }

  const Sweep& sweep_;
  TreeEngine& engine_;
  TapeLists& lists_;
  size_t root_;
  bool weighs_findings_;
  Operation marginal_;
  const CliqueWork* scalar_of_ = nullptr;  // the clique of the control below
  const Control* scalar_ = nullptr;
  bool distributes_ = false;
  size_t left_ = 0;  // cliques in the order that have not been written
};

}  // namespace

Tape plan_messages(const Sweep& sweep, size_t root, TapeLists& lists) noexcept {
  lists.clear();
  Planner planner(sweep, root, lists);
  while (planner.write()) {
  }
  return lists.tape();
}

tv_status_t plan_portions(const Sweep& sweep, size_t root, RunPortion run, void* runner) {
  TapeLists& lists = sweep.engine.portion;
  Planner planner(sweep, root, lists);
  for (lists.clear(); planner.write(); lists.clear())
    if (tv_status_t status = run(runner, lists.tape())) return status;
  return tv_status_none;
}

}  // namespace tv
