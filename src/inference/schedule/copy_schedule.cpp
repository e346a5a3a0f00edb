#include "inference/schedule/copy_schedule.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

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
  List<ObservedMember> observed;
  List<Operation> operations;
  List<ScheduleStep> steps;
  List<IndexMap> maps;
  List<size_t> numbers;  // extents of shapes, strides of maps
  List<Dimension> nests;
  List<SchedulePotential> potentials;
  List<float> constants;
  List<uint16_t> positions;
  List<unsigned char> sources;

  template <class Visit>
  void for_each(Visit visit) noexcept {
    visit(gather), visit(factors), visit(observed), visit(operations), visit(steps), visit(maps);
    visit(numbers), visit(nests), visit(potentials), visit(constants), visit(positions), visit(sources);
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
  Writer(const TreeEngine& engine, const ScheduleLists& from, bool sums, bool as_it_is, Lists& lists) noexcept
      : engine_(engine), from_(from), sums_(sums), as_it_is_(as_it_is), lists_(lists) {}

  void write() noexcept {
    lists_.observed.copy(from_.observed.data(), from_.observed.size());
    lists_.potentials.copy(from_.potentials.data(), from_.potentials.size());
    lists_.constants.copy(from_.constants.data(), from_.constants.size());
    for (operation_ = 0; operation_ < from_.operations.size(); ++operation_)
      as_it_is_ ? copy_operation(from_.operations[operation_]) : add(from_.operations[operation_]);
  }

 private:
  const CliqueWork& work(const Operation& operation) const noexcept {
    return engine_.cliques[operation.clique];
  }
  std::span<const ScheduleStep> steps(const Operation& operation) const noexcept {
    return {&from_.steps[operation.first_step], operation.step_count};
  }
  const SeparatorWork& separator_of(const Operation& operation) const noexcept {
    return engine_.separators[work(operation).links[operation.link].separator];
  }
  size_t offset_in_tables(const float* numbers) const noexcept {
    return static_cast<size_t>(numbers - engine_.numbers.data());
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
    const float* const numbers = work(operation).table.numbers;
    const bool lies_in_block = numbers >= engine_.numbers.begin() && numbers < engine_.numbers.end();
    if (!sums_ || operation.shape.size > limits.short_table || work(operation).lazy || !lies_in_block ||
        operation.step_count > UINT8_MAX)
      return false;
    const std::span<const ScheduleStep> all = steps(operation);
    return std::all_of(all.begin(), all.end(), [&](const ScheduleStep& step) {
      return last_position(from_.maps[step.map]) <= kMostPosition;
    });
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
         i < from_.operations.size() && from_.operations[i].kind != OperationKind::pass; ++i)
      if (from_.operations[i].kind == OperationKind::message && receiver_is_lazy(from_.operations[i]))
        return false;
    return true;
  }

  // ---- Gather operations ----

  GatherOperation start(GatherKind kind, const Operation& operation) const noexcept {
    GatherOperation gather;
    gather.kind = kind;
    gather.entries = static_cast<unsigned char>(operation.shape.size);
    const bool is_separator = operation.kind == OperationKind::separator_pass;
    const ReducedTable& table = is_separator ? separator_of(operation).old : work(operation).table;
    gather.table = offset_in_tables(table.numbers);
    return gather;
  }

  void set_factors(GatherOperation& gather, const Operation& operation) noexcept {
    gather.first = static_cast<uint32_t>(lists_.factors.count);
    for (const ScheduleStep& step : steps(operation)) {
      if (!step.is_factor()) continue;
      if (gather.factor_count == 0) gather.assigns = step.operation == StepKind::assign;
      ++gather.factor_count;
      uint16_t* positions = lists_.positions.take(gather.entries);
      lists_.factors.add({step.place.buffer, finding_of(operation, step), step.place.offset, positions});
      if (positions)
        for_each_position(from_.maps[step.map],
                          [&](size_t position) { *positions++ = static_cast<uint16_t>(position); });
    }
  }

  // The node of which the step is the finding.
  uint32_t finding_of(const Operation& operation, const ScheduleStep& step) const noexcept {
    if (step.place.buffer != kNodeNumbers) return GatherFactor::kNoNode;
    const float* const numbers = engine_.buffers[kNodeNumbers] + step.place.offset;
    for (const Node* node : *work(operation).table.members)
      if (is_discrete(*node) && engine_.likelihood_ratio(*node) == numbers)
        return static_cast<uint32_t>(node->number - 1);
    return GatherFactor::kNoNode;
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

  // The map of the step that forms the marginal there.
  const IndexMap& index_map_for(const Operation& operation, TotalsBuffer buffer,
                                size_t offset = 0) const noexcept {
    const ScheduleStep* step = steps(operation).data();
    while (step->is_factor() || step->place.buffer != buffer || step->place.offset != offset) ++step;
    return from_.maps[step->map];
  }

  void set_message(GatherOperation& gather, const Operation& operation) const noexcept {
    gather.result = offset_in_tables(separator_of(operation).old.numbers);
    gather.message = offset_in_tables(separator_of(operation).ratio);
  }

  void add_collect(const Operation& operation) noexcept {
    GatherOperation gather = start(GatherKind::collect, operation);
    set_factors(gather, operation);
    set_marginal(gather, index_map_for(operation, kMessageTotals));
    set_message(gather, operation);
    lists_.gather.add(gather);
  }

  void add_root(const Operation& operation) noexcept {
    GatherOperation gather = start(GatherKind::root, operation);
    set_factors(gather, operation);
    set_marginal(gather, index_map_for(operation, kRootMass));
    lists_.gather.add(gather);
  }

  void add_form(const Operation& operation) noexcept {
    GatherOperation gather = start(GatherKind::form, operation);
    set_factors(gather, operation);
    if (gather.factor_count > 0) lists_.gather.add(gather);
  }

  void add_send(const Operation& operation) noexcept {
    GatherOperation gather = start(GatherKind::send, *pass_);
    set_marginal(gather, index_map_for(*pass_, kMessageTotals, operation.totals));
    set_message(gather, operation);
    gather.has_past = operation.has_past;
    lists_.gather.add(gather);
  }

  void add_belief(const Operation& operation) noexcept {
    const Node& node = *engine_.belief_marginals[operation.belief].node;
    const NodeState& data = engine_[node];
    if (data.observed_state < 0 && !source_) return copy_operation(operation);
    GatherOperation gather;
    if (data.observed_state >= 0) {
      gather.kind = GatherKind::observed;
      gather.targets = static_cast<uint32_t>(node.number_of_states);
      gather.node = static_cast<uint32_t>(node.number - 1);
    } else {
      gather = start(GatherKind::belief, *source_);
      set_marginal(gather, index_map_for(*source_, kBeliefTotals, operation.totals));
    }
    gather.result = static_cast<size_t>(data.belief - engine_.buffers[kNodeNumbers]);
    lists_.gather.add(gather);
  }

  // ---- Operations that are copied as they are ----

  void copy_index_map(const IndexMap& map, const Shape& shape) noexcept {
    IndexMap copy = map;
    copy.steps = lists_.numbers.copy(map.steps, std::min<size_t>(shape.outer + 1, shape.dimensions));
    copy.inner = lists_.nests.copy(map.inner, map.inner_count);
    lists_.maps.add(copy);
  }

  void copy_step(const ScheduleStep& step, const Shape& shape) noexcept {
    lists_.steps.add({step.operation, static_cast<uint32_t>(lists_.maps.count), step.place});
    copy_index_map(from_.maps[step.map], shape);
  }

  void copy_operation(const Operation& operation) noexcept {
    GatherOperation gather;
    gather.first = static_cast<uint32_t>(lists_.operations.count);
    if (!as_it_is_) lists_.gather.add(gather);
    Operation copy = operation;
    copy.first_step = lists_.steps.count;
    copy.shape.counts = lists_.numbers.copy(operation.shape.counts, operation.shape.dimensions);
    for (const ScheduleStep& step : steps(operation)) copy_step(step, operation.shape);
    lists_.operations.add(copy);
  }

  const TreeEngine& engine_;
  const ScheduleLists& from_;
  const bool sums_;
  const bool as_it_is_;
  Lists& lists_;
  size_t operation_ = 0;
  const Operation* pass_ = nullptr;    // the gathered pass whose messages follow
  const Operation* source_ = nullptr;  // the gathered pass whose beliefs follow
};

}  // namespace

CopiedSchedule copy_schedule(const TreeEngine& engine, const ScheduleLists& from,
                             tv_equilibrium_t equilibrium, bool as_it_is, size_t most_bytes) noexcept {
  const bool sums = equilibrium == tv_equilibrium_sum;
  Lists lists;
  Writer(engine, from, sums, as_it_is, lists).write();
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
  Writer(engine, from, sums, as_it_is, lists).write();
  copied.schedule = {lists.operations.data, lists.operations.count, lists.steps.data,
                     lists.maps.data,       lists.potentials.data,  lists.potentials.count,
                     lists.observed.data,   lists.constants.data,   {}};
  if (!as_it_is) copied.schedule.gather = {lists.gather.data, lists.gather.count, lists.factors.data};
  return copied;
}

}  // namespace tv
