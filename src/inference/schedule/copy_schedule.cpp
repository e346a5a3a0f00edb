#include "inference/schedule/copy_schedule.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace tv {
namespace {

// A list in the arena; without an arena it only counts.
template <class T>
struct List {
  T* data = nullptr;
  size_t count = 0;

  T* take(size_t more) noexcept {
    count += more;
    return data ? data + count - more : nullptr;
  }
  T* add(const T& entry) noexcept {
    T* copy = take(1);
    if (copy) *copy = entry;
    return copy;
  }
  T* copy(const T* source, size_t more) noexcept {
    T* copy = take(more);
    if (copy) std::copy_n(source, more, copy);
    return copy;
  }
};

// Lists of larger alignment first, so that no padding is needed between them.
struct Lists {
  List<GatherOperation> gather;
  List<GatherFactor> factors;
  List<GatherPotential> gather_potentials;
  List<ObservedMember> observed;
  List<Operation> operations;
  List<Step> steps;
  List<PotentialStep> potentials;
  List<IndexMap> maps;
  List<size_t> numbers;  // extents of shapes, strides of maps
  List<Dimension> nests;
  List<uint16_t> positions;
  List<unsigned char> sources;

  template <class Visit>
  void for_each(Visit visit) noexcept {
    visit(gather), visit(factors), visit(gather_potentials), visit(observed), visit(operations), visit(steps);
    visit(potentials), visit(maps), visit(numbers), visit(nests), visit(positions), visit(sources);
  }
};

constexpr size_t kMostPosition = UINT16_MAX;

// Calls visit(position) for the entry of the other table onto which each entry maps. The table is a single
// block.
template <class Visit>
void for_each_position(const IndexMap& map, Visit visit) noexcept {
  size_t index[64] = {}, position = 0;
  const size_t count = map.inner_count;
  for (;;) {
    visit(position);
    size_t d = count;
    for (;;) {
      if (d == 0) return;
      const Dimension& dimension = map.inner[--d];
      position += dimension.stride2;
      if (++index[d] < dimension.count) break;
      position -= dimension.count * dimension.stride2;
      index[d] = 0;
    }
  }
}

size_t last_position(const IndexMap& map) noexcept {
  size_t position = 0;
  for (size_t d = 0; d < map.inner_count; ++d) position += (map.inner[d].count - 1) * map.inner[d].stride2;
  return position;
}

class Writer {
 public:
  Writer(const TreeEngine& engine, const Schedule& schedule, bool sums, bool as_it_is, Lists& lists) noexcept
      : engine_(engine), schedule_(schedule), sums_(sums), as_it_is_(as_it_is), lists_(lists) {}

  void write() noexcept {
    for (operation_ = 0; operation_ < schedule_.operation_count; ++operation_)
      as_it_is_ ? copy_operation(schedule_.operations[operation_]) : add(schedule_.operations[operation_]);
    copy_potentials_without_step();
  }

 private:
  const CliqueWork& work(const Operation& operation) const noexcept {
    return engine_.cliques[operation.clique];
  }
  const Step* steps(const Operation& operation) const noexcept {
    return schedule_.steps + operation.first_step;
  }

  void add(const Operation& operation) noexcept {
    switch (operation.kind) {
      case OperationKind::collect:
        return collects_gathered(operation) ? add_collect(operation) : copy_operation(operation);
      case OperationKind::root:
        return can_gather(operation) && operation.updates <= limits.updates_together
                   ? add_root(operation)
                   : copy_operation(operation);
      case OperationKind::pass:
        pass_ = can_gather(operation) && no_message_needs_totals() ? &operation : nullptr;
        source_ = pass_;
        return pass_ ? add_form(operation) : copy_operation(operation);
      case OperationKind::separator_pass:
        source_ = sums_ && operation.shape.size <= limits.short_table ? &operation : nullptr;
        return source_ ? void() : copy_operation(operation);  // its steps belong to the belief operations
      case OperationKind::message:
        return pass_ ? add_send(operation) : copy_operation(operation);
      case OperationKind::belief:
        return add_belief(operation);
    }
  }

  // ---- What can be gathered ----

  bool can_gather(const Operation& operation) const noexcept {
    if (!sums_ || operation.shape.size > limits.short_table || work(operation).lazy ||
        operation.step_count > UINT8_MAX)
      return false;
    return std::all_of(steps(operation), steps(operation) + operation.step_count,
                       [](const Step& step) { return last_position(*step.map) <= kMostPosition; });
  }

  bool receiver_is_lazy(const Operation& operation) const noexcept {
    return engine_.cliques[work(operation).links[operation.link].neighbor].lazy;
  }

  bool collects_gathered(const Operation& operation) const noexcept {
    return can_gather(operation) && operation.updates <= limits.updates_together &&
           !receiver_is_lazy(operation);
  }

  // The messages that a pass forms follow it in the schedule.
  bool no_message_needs_totals() const noexcept {
    for (size_t i = operation_ + 1;
         i < schedule_.operation_count && schedule_.operations[i].kind != OperationKind::pass; ++i)
      if (schedule_.operations[i].kind == OperationKind::message && receiver_is_lazy(schedule_.operations[i]))
        return false;
    return true;
  }

  // ---- Gather operations ----

  GatherOperation start(GatherKind kind, const Operation& operation) const noexcept {
    GatherOperation gather;
    gather.kind = kind;
    gather.entries = static_cast<unsigned char>(operation.shape.size);
    gather.table = operation.numbers;
    return gather;
  }

  void set_factors(GatherOperation& gather, const Operation& operation) noexcept {
    gather.first = static_cast<uint32_t>(lists_.factors.count);
    for (size_t s = operation.first_step; s < operation.first_step + operation.step_count; ++s) {
      const Step& step = schedule_.steps[s];
      if (step.target) continue;
      if (gather.factor_count == 0) gather.assigns = step.operation == StepKind::assign;
      ++gather.factor_count;
      add_potential(s);
      uint16_t* positions = lists_.positions.take(gather.entries);
      lists_.factors.add({step.operand, positions, evidence_of(operation, step)});
      if (positions)
        for_each_position(*step.map,
                          [&](size_t position) { *positions++ = static_cast<uint16_t>(position); });
    }
  }

  // Null where the step is no finding.
  const ptrdiff_t* evidence_of(const Operation& operation, const Step& step) const noexcept {
    const NodeList& members = *work(operation).table.members;
    const auto is_of = [&](const Node* node) {
      return is_discrete(*node) && engine_.likelihood_ratio(*node) == step.operand;
    };
    const auto node = std::find_if(members.begin(), members.end(), is_of);
    return node == members.end() ? nullptr : &engine_[**node].propagated_state;
  }

  void set_marginal(GatherOperation& gather, const IndexMap& map) noexcept {
    gather.targets = static_cast<uint32_t>(map.other_size);
    gather.each = gather.entries / gather.targets;
    unsigned char* sources = lists_.sources.take(gather.entries);
    gather.sources = sources;
    if (!sources) return;
    unsigned char filled[kCapacity.short_table] = {}, entry = 0;
    for_each_position(
        map, [&](size_t position) { sources[position * gather.each + filled[position]++] = entry++; });
  }

  // The map of the step that forms the marginal at `target`.
  const IndexMap& index_map_for(const Operation& operation, const double* target) const noexcept {
    const Step* step = steps(operation);
    while (step->target != target) ++step;
    return *step->map;
  }

  void set_message(GatherOperation& gather, const Operation& operation) const noexcept {
    const SeparatorWork& separator = engine_.separators[work(operation).links[operation.link].separator];
    gather.result = separator.old.numbers;
    gather.message = separator.ratio;
  }

  void add_collect(const Operation& operation) noexcept {
    GatherOperation gather = start(GatherKind::collect, operation);
    set_factors(gather, operation);
    set_marginal(gather, index_map_for(operation, engine_.totals.data()));
    set_message(gather, operation);
    lists_.gather.add(gather);
  }

  void add_root(const Operation& operation) noexcept {
    GatherOperation gather = start(GatherKind::root, operation);
    set_factors(gather, operation);
    set_marginal(gather, index_map_for(operation, &engine_.mass));
    lists_.gather.add(gather);
  }

  void add_form(const Operation& operation) noexcept {
    GatherOperation gather = start(GatherKind::form, operation);
    set_factors(gather, operation);
    if (gather.factor_count > 0) lists_.gather.add(gather);
  }

  void add_send(const Operation& operation) noexcept {
    GatherOperation gather = start(GatherKind::send, *pass_);
    set_marginal(gather, index_map_for(*pass_, engine_.totals.data() + operation.totals));
    set_message(gather, operation);
    gather.has_past = operation.has_past;
    lists_.gather.add(gather);
  }

  void add_belief(const Operation& operation) noexcept {
    const Node& node = *operation.belief->node;
    const NodeState& data = engine_[node];
    if (data.observed_state < 0 && !source_) return copy_operation(operation);
    GatherOperation gather;
    if (data.observed_state >= 0) {
      gather.kind = GatherKind::observed;
      gather.targets = static_cast<uint32_t>(node.number_of_states);
      gather.state = &data.observed_state;
    } else {
      gather = start(GatherKind::belief, *source_);
      set_marginal(gather, index_map_for(*source_, engine_.belief_totals.data() + operation.totals));
    }
    gather.result = data.belief;
    lists_.gather.add(gather);
  }

  // ---- Potentials ----

  // Potentials that are copied before the schedule runs belong to no step.
  void copy_potentials_without_step() noexcept {
    for (; potential_ < schedule_.potential_count && schedule_.potentials[potential_].step == kNone;
         ++potential_)
      lists_.potentials.add(schedule_.potentials[potential_]);
  }

  // The plan of the potential that the step multiplies, or null. Steps have to be asked for in their order.
  CliquePotential* potential_of(size_t step) noexcept {
    copy_potentials_without_step();
    const bool found =
        potential_ < schedule_.potential_count && schedule_.potentials[potential_].step == step;
    return found ? schedule_.potentials[potential_++].plan : nullptr;
  }

  void add_potential(size_t step) noexcept {
    const CliquePotential* found = potential_of(step);
    if (!found) return;
    const CliquePotential& plan = *found;
    GatherPotential potential = {found, static_cast<uint32_t>(lists_.factors.count),
                                 static_cast<uint32_t>(lists_.observed.count), 0};
    for (size_t m = 0; m < plan.members->size(); ++m) {
      const NodeState& data = engine_[*(*plan.members)[m]];
      if (plan.strides[m] == 0 || data.observed_state < 0) continue;
      lists_.observed.add({&data.observed_state, plan.strides[m]});
      ++potential.observed_count;
    }
    lists_.gather_potentials.add(potential);
  }

  // ---- Operations that are copied as they are ----

  const IndexMap* copy_index_map(const IndexMap& map, const Shape& shape) noexcept {
    IndexMap copy = map;
    copy.steps = lists_.numbers.copy(map.steps, std::min<size_t>(shape.outer + 1, shape.dimensions));
    copy.inner = lists_.nests.copy(map.inner, map.inner_count);
    return lists_.maps.add(copy);
  }

  void copy_step(size_t step, const Shape& shape) noexcept {
    if (CliquePotential* plan = potential_of(step)) lists_.potentials.add({lists_.steps.count, plan});
    Step copy = schedule_.steps[step];
    copy.map = copy_index_map(*copy.map, shape);
    lists_.steps.add(copy);
  }

  void copy_operation(const Operation& operation) noexcept {
    GatherOperation gather;
    gather.first = static_cast<uint32_t>(lists_.operations.count);
    if (!as_it_is_) lists_.gather.add(gather);
    Operation copy = operation;
    copy.first_step = lists_.steps.count;
    copy.shape.counts = lists_.numbers.copy(operation.shape.counts, operation.shape.dimensions);
    for (size_t s = operation.first_step; s < operation.first_step + operation.step_count; ++s)
      copy_step(s, operation.shape);
    lists_.operations.add(copy);
  }

  const TreeEngine& engine_;
  const Schedule& schedule_;
  const bool sums_;
  const bool as_it_is_;
  Lists& lists_;
  size_t operation_ = 0;
  size_t potential_ = 0;
  const Operation* pass_ = nullptr;    // the gathered pass whose messages follow
  const Operation* source_ = nullptr;  // the gathered pass whose beliefs follow
};

}  // namespace

CopiedSchedule copy_schedule(const TreeEngine& engine, const Schedule& schedule, tv_equilibrium_t equilibrium,
                             bool as_it_is, size_t most_bytes) noexcept {
  const bool sums = equilibrium == tv_equilibrium_sum;
  Lists lists;
  Writer(engine, schedule, sums, as_it_is, lists).write();
  size_t bytes = 0;
  lists.for_each([&](auto& list) { bytes += list.count * sizeof(*list.data); });
  CopiedSchedule copied;
  copied.bytes = bytes;
  if (bytes > most_bytes) return copied;
  copied.memory.reset(new (std::nothrow) unsigned char[bytes]);
  if (!copied.memory) return copied;
  unsigned char* next = copied.memory.get();
  lists.for_each([&]<class T>(List<T>& list) {
    list.data = reinterpret_cast<T*>(next);
    next += list.count * sizeof(T);
    list.count = 0;
  });
  Writer(engine, schedule, sums, as_it_is, lists).write();
  copied.schedule = {lists.operations.data, lists.operations.count, lists.steps.data, lists.potentials.data,
                     lists.potentials.count};
  copied.gather = {lists.gather.data,
                   lists.gather.count,
                   lists.factors.data,
                   lists.gather_potentials.data,
                   lists.gather_potentials.count,
                   lists.observed.data};
  return copied;
}

}  // namespace tv
