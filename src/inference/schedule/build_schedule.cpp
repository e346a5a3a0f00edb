// Builds the schedule of a propagation: which passes are made, in which order, and what each of them
// multiplies and sums. Each clique is passed over once while collecting (one pass multiplies its potentials
// and all incoming messages and forms the outgoing marginal) and once while distributing.

#include <algorithm>

#include "inference/compress/sparse_tree.h"
#include "inference/evidence/evidence.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/run_schedule.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/schedule/subtree.h"
#include "tables/kernels/sparse_pass.h"

namespace tv {
namespace {

class ScheduleBuilder {
 public:
  ScheduleBuilder(const PropagationRequest& request, size_t root, ScheduleLists& lists) noexcept
      : request_(request),
        engine_(request.engine),
        lists_(lists),
        root_(root),
        weighs_findings_(request.mode == tv_evidence_fast_retraction),
        marginal_(request.equilibrium == tv_equilibrium_max ? StepKind::max : StepKind::sum) {
    order_from(engine_, root);
    find_barren_cliques();
    left_ = engine_.order.size();
  }
  ~ScheduleBuilder() {
    for (size_t clique : engine_.order) engine_.barren[clique] = engine_.has_sent[clique] = 0;
  }
  ScheduleBuilder(const ScheduleBuilder&) = delete;
  ScheduleBuilder& operator=(const ScheduleBuilder&) = delete;

  // Appends the operations of the next clique; false at the end.
  bool build_next() noexcept {
    scalar_of_ = shape_of_ = nullptr;
    if (distributes_) return build_next_distribution();
    while (left_ > 1) {
      const size_t clique = engine_.order[--left_];
      if (!engine_.barren[clique]) return build_collect(clique), true;
    }
    build_root(root_);
    extend_to_target_beliefs(root_);
    distributes_ = true;
    left_ = engine_.order.size();
    return true;
  }

 private:
  bool build_next_distribution() noexcept {
    if (left_ == 0) return false;
    build_distribute(engine_.order[engine_.order.size() - left_--]);
    return true;
  }

  CliqueWork& work(size_t clique) const noexcept { return engine_.cliques[clique]; }

  // Whether the neighbour lies on the far side, seen from the root.
  bool leads_away(const CliqueLink& link) const noexcept {
    return engine_.reached_by[link.neighbor] == link.back;
  }

  // Whether the subtree behind a clique is barren: without findings, and all that the clique adds to its
  // neighbour towards the root are the conditional distributions of the nodes that the neighbour lacks. They
  // sum to one, so that the message would be all ones and is not computed.
  bool is_barren(const CliqueWork& work, const CliqueLink& towards_root) const noexcept {
    if (!work.findings.empty()) return false;
    for (const CliqueLink& link : work.links)
      if (leads_away(link) && !engine_.barren[link.neighbor]) return false;
    size_t own = 0;
    for (size_t m = 0; m < work.table.members->size(); ++m) {
      const Node& node = *(*work.table.members)[m];
      if (towards_root.member_of[m] != kNoMember || !is_discrete(node)) continue;
      const NodeState& data = engine_[node];
      if (placement(node).assigned != work.clique || data.propagated_state != kNoEvidence ||
          data.policy_left_out)
        return false;
      ++own;
    }
    return own == work.potentials.size();
  }

  // Where separators have an old marginal to divide by, or under max, no clique is barren.
  void find_barren_cliques() noexcept {
    if (!request_.first || request_.equilibrium != tv_equilibrium_sum) return;
    if (engine_.tree->sparse && engine_.tree->sparse->is_cut) return;  // sums lack what was left out
    for (size_t i = engine_.order.size(); i-- > 1;) {
      const size_t clique = engine_.order[i];
      engine_.barren[clique] = is_barren(work(clique), work(clique).links[engine_.reached_by[clique]]);
    }
  }

  Operation& add_operation(OperationKind kind, size_t clique) noexcept {
    if (shape_of_ != &work(clique)) {
      shape_of_ = &work(clique);
      shape_ = lists_.copy_shape(shape_of_->table.shape);
    }
    Operation& operation = lists_.operations.push_back({});
    operation.kind = kind;
    operation.clique = static_cast<uint32_t>(clique);
    operation.first_step = lists_.steps.size();
    operation.shape = shape_;
    return operation;
  }

  void close_steps(Operation& operation) noexcept {
    operation.step_count = static_cast<uint32_t>(lists_.steps.size() - operation.first_step);
  }

  void add_initial_product(CliqueWork& work) noexcept {
    StepKind operation = StepKind::assign;
    for (CliquePotential& plan : work.potentials) {
      refresh(plan);
      if (plan.node() && engine_[*plan.node()].policy_left_out) {
        lists_.steps.push_back({operation, scalar_of(work), constant(1.0f)});
      } else if (plan.table()) {
        const Place potential = add_potential(plan);
        lists_.steps.push_back({operation, maps(work).of_potential(plan), potential});
      } else {
        lists_.steps.push_back({operation, scalar_of(work), constant(plan.uniform)});
      }
      operation = StepKind::multiply;
    }
    if (work.potentials.empty()) lists_.steps.push_back({StepKind::assign, scalar_of(work), constant(1.0f)});
  }

  Place constant(float value) noexcept {
    lists_.constants.push_back(value);
    return {kConstants, lists_.constants.size() - 1};
  }

  Place place_of(FactorBuffer buffer, const float* numbers) noexcept {
    if (buffer == kConstants) return constant(*numbers);
    return {buffer, static_cast<size_t>(numbers - engine_.buffers[buffer])};
  }

  // Where its possible entries will be: in its copy, or in its table.
  Place add_potential(const CliquePotential& plan) noexcept {
    const auto position = static_cast<uint32_t>(&plan - engine_.clique_potentials.data());
    const auto first = static_cast<uint32_t>(lists_.observed.size());
    for (size_t m = 0; m < plan.members->size(); ++m) {
      const Node& member = *(*plan.members)[m];
      if (plan.strides[m] != 0 && engine_[member].observed_state >= 0)
        lists_.observed.push_back({static_cast<uint32_t>(member.number - 1), plan.strides[m]});
    }
    const auto count = static_cast<uint32_t>(lists_.observed.size()) - first;
    lists_.potentials.push_back({position, plan.copy != nullptr, first, count});
    if (plan.copy) return place_of(kTables, plan.copy);
    return {static_cast<uint32_t>(kFirstPotential + lists_.potentials.size() - 1), 0};
  }

  void refresh(CliquePotential& plan) noexcept {
    if (refresh_potential(plan))
      engine_.schedules->clear_schedules();  // its strides belong to another layout
  }

  // ---- Index maps ----

  struct IndexMaps {
    ScheduleBuilder& builder;
    const CliqueWork& work;

    uint32_t of_potential(const CliquePotential& plan) const noexcept {
      return make([&](size_t* steps) { step_in_potential(work.table, plan, steps); });
    }
    uint32_t of_link(const CliqueLink& link) const noexcept {
      if (work.sparse) return builder.add_list(work.sparse->links[position_of(work, link)]);
      const SeparatorWork& separator = builder.engine_.separators[link.separator];
      return make([&](size_t* steps) { step_in_separator(work.table, link, separator.old, steps); });
    }
    uint32_t of_member(size_t member) const noexcept {
      if (work.sparse) return builder.add_list(work.sparse->table.states(member));
      if (!work.table.spans(member)) return scalar();
      return builder.index_map_of_member(work.table, member);
    }
    uint32_t scalar() const noexcept { return builder.scalar_of(work); }
    uint32_t entries() const noexcept { return builder.lists_.add_index_map(identity_map(work.table.shape)); }

   private:
    template <class Fill>
    uint32_t make(Fill fill) const noexcept {
      const Shape& shape = work.table.shape;
      return builder.lists_.make_index_map(shape, [&](IndexMap& map) {
        fill(map.steps);
        finish_index_map(map, shape);
      });
    }
  };

  IndexMaps maps(const CliqueWork& work) noexcept { return {*this, work}; }

  uint32_t add_list(const PositionList& list) noexcept { return lists_.add_index_map(list_map(list)); }

  // Maps every entry of a clique's table onto one number. The operations of a clique share one such map.
  uint32_t scalar_of(const CliqueWork& work) noexcept {
    if (scalar_of_ != &work) {
      const Shape& shape = work.table.shape;
      scalar_ = shape.is_sparse() ? lists_.add_index_map(scalar_map())
                                  : lists_.make_index_map(shape, [&](IndexMap& map) {
                                      map_dimension(map, shape, shape.dimensions);
                                    });
      scalar_of_ = &work;
    }
    return scalar_;
  }

  // The potentials of a lazy clique that is initialised are copied before the schedule runs.
  void request_copies(CliqueWork& work) noexcept {
    if (work.sparse) return;
    for (CliquePotential& plan : work.potentials) {
      refresh(plan);
      if (plan.table()) add_potential(plan);
    }
  }

  // All factors of a lazy clique. While distributing, the message from the side of the root is the latest
  // one.
  void add_factors(Operation& operation, CliqueWork& work, size_t towards_root, bool distributes) noexcept {
    const auto holds = [&](const CliqueLink& link) {
      if (link.holds) return true;
      if (towards_root != kNone && &link == &work.links[towards_root]) return distributes;
      return leads_away(link) && engine_.has_sent[link.neighbor];
    };
    for_each_factor(engine_, work, holds, maps(work),
                    [&](StepKind kind, uint32_t map, FactorBuffer buffer, const float* numbers) {
                      lists_.steps.push_back({kind, map, place_of(buffer, numbers)});
                    });
    operation.formed = static_cast<uint32_t>(lists_.steps.size() - operation.first_step);
  }

  // Likelihood ratios of the findings on members that have changed since the last propagation.
  void add_findings(CliqueWork& work) noexcept {
    for (size_t member : work.findings) {
      const Node& node = *(*work.table.members)[member];
      const float* update = engine_.likelihood_ratio(node);
      if (!work.sparse && !work.table.spans(member)) {
        const size_t state =
            work.table.is_observed(member) ? static_cast<size_t>(engine_[node].observed_state) : 0;
        lists_.steps.push_back({StepKind::multiply, scalar_of(work), place_of(kNodeNumbers, update + state)});
        continue;
      }
      lists_.steps.push_back(
          {StepKind::multiply, maps(work).of_member(member), place_of(kNodeNumbers, update)});
    }
  }

  void add_all_factors(Operation& operation, CliqueWork& work, size_t towards_root) noexcept {
    if (!work.initialized) request_copies(work);
    add_factors(operation, work, towards_root, false);
  }

  // The update that came through the link.
  ScheduleStep update_from(const CliqueWork& work, const CliqueLink& link) noexcept {
    return {StepKind::multiply, maps(work).of_link(link),
            place_of(kTables, engine_.separators[link.separator].ratio)};
  }

  void add_updates(CliqueWork& work, size_t towards_root) noexcept {
    if (!work.initialized) add_initial_product(work);
    for (size_t l = 0; l < work.links.size(); ++l)
      if (l != towards_root && leads_away(work.links[l]) && !engine_.barren[work.links[l].neighbor])
        lists_.steps.push_back(update_from(work, work.links[l]));
    add_findings(work);
  }

  // The steps that bring a clique's table up to date while collecting.
  void add_updates(Operation& operation, CliqueWork& work, size_t towards_root) noexcept {
    operation.starts_anew = work.lazy || !work.initialized;
    if (work.lazy)
      add_all_factors(operation, work, towards_root);
    else
      add_updates(work, towards_root);
    operation.updates = static_cast<uint32_t>(lists_.steps.size() - operation.first_step);
    if (request_.equilibrium == tv_equilibrium_max)
      lists_.steps.push_back({StepKind::sum, scalar_of(work), {kTableSum}});
  }

  void build_collect(size_t clique) noexcept {
    CliqueWork& here = work(clique);
    const size_t via = engine_.reached_by[clique];
    engine_.has_sent[clique] = 1;
    Operation& operation = add_operation(OperationKind::collect, clique);
    operation.link = static_cast<uint32_t>(via);
    operation.has_past = !request_.first;
    operation.size = engine_.separators[here.links[via].separator].old.shape.size;
    add_updates(operation, here, via);
    if (!weighs_findings_)
      lists_.steps.push_back({marginal_, maps(here).of_link(here.links[via]), {kMessageTotals}});
    close_steps(operation);
  }

  void build_root(size_t root) noexcept {
    Operation& operation = add_operation(OperationKind::root, root);
    add_updates(operation, work(root), kNone);
    lists_.steps.push_back({marginal_, scalar_of(work(root)), {kRootMass}});
    close_steps(operation);
  }

  // Cliques that did not collect take part in distributing where they hold nodes whose beliefs may change.
  void extend_to_target_beliefs(size_t root) noexcept {
    if (engine_.order.size() == engine_.cliques.size()) return;
    extend_to_targets(engine_);
    order_from(engine_, root);
  }

  uint32_t index_map_of_member(const ReducedTable& table, size_t member) noexcept {
    if (table.sparse) return add_list(table.sparse->states(member));
    return lists_.make_index_map(
        table.shape, [&](IndexMap& map) { map_dimension(map, table.shape, table.dimension_of[member]); });
  }

  // The steps for the target beliefs of a table; returns how many accumulators they need.
  size_t add_belief_steps(const ReducedTable& table, std::span<const BeliefMarginal> plans) noexcept {
    size_t used = 0;
    for (const BeliefMarginal& plan : plans) {
      const NodeState& data = engine_[*plan.node];
      if (!data.is_target || data.observed_state >= 0) continue;
      if (!weighs_findings_)
        lists_.steps.push_back({marginal_, index_map_of_member(table, plan.member), {kBeliefTotals, used}});
      used += plan.node->number_of_states;
    }
    return used;
  }

  // Of the clique's own table, or of the separator of one of its links.
  void add_belief_operations(size_t clique, uint32_t link, std::span<const BeliefMarginal> plans) noexcept {
    size_t used = 0;
    for (const BeliefMarginal& plan : plans) {
      const NodeState& data = engine_[*plan.node];
      if (!data.is_target) continue;
      Operation& operation = lists_.operations.push_back({});
      operation.kind = OperationKind::belief;
      operation.clique = static_cast<uint32_t>(clique);
      operation.link = link;
      operation.totals = used;
      operation.belief = static_cast<uint32_t>(&plan - engine_.belief_marginals.data());
      if (data.observed_state < 0) used += plan.node->number_of_states;
    }
  }

  // Adds the marginals for receivers from `first` on, as many as the accumulators hold; returns the next one.
  size_t add_message_steps(const CliqueWork& work, size_t first, size_t& used) noexcept {
    size_t l = first;
    for (; l < work.links.size(); ++l) {
      const CliqueLink& link = work.links[l];
      if (!leads_away(link)) continue;
      const size_t size = engine_.separators[link.separator].old.shape.size;
      if (used > 0 && used + size > engine_.totals.size()) break;
      if (!weighs_findings_)
        lists_.steps.push_back({marginal_, maps(work).of_link(link), {kMessageTotals, used}});
      used += size;
    }
    return l;
  }

  void add_message_operations(size_t clique, size_t first, size_t last) noexcept {
    size_t used = 0;
    for (size_t l = first; l < last; ++l) {
      const CliqueLink& link = work(clique).links[l];
      if (!leads_away(link)) continue;
      Operation& operation = add_operation(OperationKind::message, clique);
      operation.link = static_cast<uint32_t>(l);
      operation.has_past = !engine_.barren[link.neighbor];
      operation.size = engine_.separators[link.separator].old.shape.size;
      operation.totals = used;
      used += operation.size;
      build_separator_beliefs(engine_.separators[link.separator], clique, operation.link);
    }
  }

  void build_separator_beliefs(const SeparatorWork& separator, size_t clique, uint32_t link) noexcept {
    if (separator.beliefs.empty()) return;
    Operation& operation = add_operation(OperationKind::separator_pass, clique);
    operation.link = link;
    operation.shape = lists_.copy_shape(separator.old.shape);
    operation.clear_beliefs = add_belief_steps(separator.old, separator.beliefs);
    close_steps(operation);
    add_belief_operations(clique, link, separator.beliefs);
  }

  void start_lazy_pass(Operation& operation, CliqueWork& work, size_t via) noexcept {
    if (engine_.barren[work.clique->position]) request_copies(work);
    operation.link = static_cast<uint32_t>(via);
    add_factors(operation, work, via, true);
  }

  void start_pass(CliqueWork& work, size_t via) noexcept {
    if (engine_.barren[work.clique->position]) add_initial_product(work);
    if (via != kNone)
      lists_.steps.push_back(update_from(work, work.links[via]));
    else
      lists_.steps.push_back({StepKind::multiply, scalar_of(work), {kInverseOfMass}});
  }

  void build_distribute(size_t clique) noexcept {
    CliqueWork& here = work(clique);
    const size_t via = engine_.reached_by[clique];
    Operation* operation = &add_operation(OperationKind::pass, clique);
    if (here.lazy)
      start_lazy_pass(*operation, here, via);
    else
      start_pass(here, via);
    operation->clear_beliefs = add_belief_steps(here.table, here.beliefs);
    size_t next = add_message_steps(here, 0, operation->clear_totals);
    close_steps(*operation);
    add_belief_operations(clique, Operation::kNoLink, here.beliefs);
    add_message_operations(clique, 0, next);
    while (next < here.links.size()) {
      const size_t first = next;
      operation = &add_operation(OperationKind::pass, clique);
      operation->repeats = true;
      if (here.lazy) add_factors(*operation, here, via, true);
      next = add_message_steps(here, first, operation->clear_totals);
      close_steps(*operation);
      add_message_operations(clique, first, next);
    }
  }

  const PropagationRequest& request_;
  TreeEngine& engine_;
  ScheduleLists& lists_;
  size_t root_;
  bool weighs_findings_;
  StepKind marginal_;
  const CliqueWork* scalar_of_ = nullptr;  // the clique of the map below
  uint32_t scalar_ = 0;
  const CliqueWork* shape_of_ = nullptr;  // the clique of the shape below
  Shape shape_;
  bool distributes_ = false;
  size_t left_ = 0;  // cliques of the order that are still to be scheduled
};

}  // namespace

Schedule build_schedule(const PropagationRequest& request, size_t root, ScheduleLists& lists) noexcept {
  lists.clear();
  ScheduleBuilder builder(request, root, lists);
  while (builder.build_next()) {
  }
  return lists.schedule();
}

tv_status_t stream_schedule(const PropagationRequest& request, size_t root, RunStreamed run, void* runner) {
  ScheduleLists& lists = request.engine.streamed;
  ScheduleBuilder builder(request, root, lists);
  for (lists.clear(); builder.build_next(); lists.clear())
    if (tv_status_t status = run(runner, lists.schedule())) return status;
  return tv_status_none;
}

}  // namespace tv
