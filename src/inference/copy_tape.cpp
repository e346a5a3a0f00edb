#include "inference/copy_tape.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace tv {
namespace {

// A list in the block; without a block it only counts.
template <class T>
struct List {
  T* data = nullptr;
  size_t count = 0;

  T* take(size_t more) noexcept {
    count += more;
    return data ? data + count - more : nullptr;
  }
  T* add(const T& entry) noexcept {
    T* place = take(1);
    if (place) *place = entry;
    return place;
  }
  T* copy(const T* source, size_t more) noexcept {
    T* place = take(more);
    if (place) std::copy_n(source, more, place);
    return place;
  }
};

// Those of larger alignment first, so that one can follow the other.
struct Lists {
  List<ShortItem> brief;
  List<ShortFactor> factors;
  List<ShortPotential> short_potentials;
  List<KnownMember> known;
  List<Item> items;
  List<Step> steps;
  List<PotentialStep> potentials;
  List<Control> controls;
  List<size_t> numbers;  // counts of shapes, steps of controls
  List<Dimension> nests;
  List<uint16_t> positions;
  List<unsigned char> sources;

  template <class Visit>
  void for_each(Visit visit) noexcept {
    visit(brief), visit(factors), visit(short_potentials), visit(known), visit(items), visit(steps);
    visit(potentials), visit(controls), visit(numbers), visit(nests), visit(positions), visit(sources);
  }
};

constexpr size_t kMostPosition = UINT16_MAX;

// Calls visit(place) for the entry of the other table that each entry meets. The table is a single block.
template <class Visit>
void for_each_place(const Control& control, Visit visit) noexcept {
  size_t position[64] = {}, place = 0;
  const size_t count = control.inner_count;
  for (;;) {
    visit(place);
    size_t d = count;
    for (;;) {
      if (d == 0) return;
      const Dimension& dimension = control.inner[--d];
      place += dimension.stride2;
      if (++position[d] < dimension.count) break;
      place -= dimension.count * dimension.stride2;
      position[d] = 0;
    }
  }
}

size_t last_place(const Control& control) noexcept {
  size_t place = 0;
  for (size_t d = 0; d < control.inner_count; ++d)
    place += (control.inner[d].count - 1) * control.inner[d].stride2;
  return place;
}

class Writer {
 public:
  Writer(const TreeEngine& engine, const Tape& tape, bool sums, bool as_it_is, Lists& lists) noexcept
      : engine_(engine), tape_(tape), sums_(sums), as_it_is_(as_it_is), lists_(lists) {}

  void write() noexcept {
    for (item_ = 0; item_ < tape_.item_count; ++item_)
      as_it_is_ ? copy_item(tape_.items[item_]) : add(tape_.items[item_]);
    copy_potentials_without_step();
  }

 private:
  const CliqueWork& work(const Item& item) const noexcept { return engine_.cliques[item.clique]; }
  const Step* steps(const Item& item) const noexcept { return tape_.steps + item.first_step; }

  void add(const Item& item) noexcept {
    switch (item.kind) {
      case ItemKind::collect:
        return collects_shortly(item) ? add_collect(item) : copy_item(item);
      case ItemKind::root:
        return may_be_short(item) && item.updates <= limits.updates_together ? add_root(item)
                                                                             : copy_item(item);
      case ItemKind::pass:
        pass_ = may_be_short(item) && no_message_needs_totals() ? &item : nullptr;
        source_ = pass_;
        return pass_ ? add_form(item) : copy_item(item);
      case ItemKind::separator_pass:
        source_ = sums_ && item.shape.size <= limits.short_table ? &item : nullptr;
        return source_ ? void() : copy_item(item);  // its steps are those of the beliefs
      case ItemKind::message:
        return pass_ ? add_send(item) : copy_item(item);
      case ItemKind::belief:
        return add_belief(item);
    }
  }

  // ---- What can be short ----

  bool may_be_short(const Item& item) const noexcept {
    if (!sums_ || item.shape.size > limits.short_table || work(item).factored || item.step_count > UINT8_MAX)
      return false;
    return std::all_of(steps(item), steps(item) + item.step_count,
                       [](const Step& step) { return last_place(*step.control) <= kMostPosition; });
  }

  bool receiver_is_factored(const Item& item) const noexcept {
    return engine_.cliques[work(item).links[item.link].neighbor].factored;
  }

  bool collects_shortly(const Item& item) const noexcept {
    return may_be_short(item) && item.updates <= limits.updates_together && !receiver_is_factored(item);
  }

  // The messages of the pass follow it.
  bool no_message_needs_totals() const noexcept {
    for (size_t i = item_ + 1; i < tape_.item_count && tape_.items[i].kind != ItemKind::pass; ++i)
      if (tape_.items[i].kind == ItemKind::message && receiver_is_factored(tape_.items[i])) return false;
    return true;
  }

  // ---- Short items ----

  ShortItem start(ShortKind kind, const Item& item) const noexcept {
    ShortItem brief;
    brief.kind = kind;
    brief.entries = static_cast<unsigned char>(item.shape.size);
    brief.table = item.numbers;
    return brief;
  }

  void set_factors(ShortItem& brief, const Item& item) noexcept {
    brief.first = static_cast<uint32_t>(lists_.factors.count);
    for (size_t s = item.first_step; s < item.first_step + item.step_count; ++s) {
      const Step& step = tape_.steps[s];
      if (step.target) continue;
      if (brief.factor_count == 0) brief.assigns = step.operation == Operation::assign;
      ++brief.factor_count;
      add_potential(s);
      uint16_t* positions = lists_.positions.take(brief.entries);
      lists_.factors.add({step.operand, positions});
      if (positions)
        for_each_place(*step.control, [&](size_t place) { *positions++ = static_cast<uint16_t>(place); });
    }
  }

  void set_marginal(ShortItem& brief, const Control& control) noexcept {
    brief.targets = static_cast<uint32_t>(control.other_size);
    brief.each = brief.entries / brief.targets;
    unsigned char* sources = lists_.sources.take(brief.entries);
    brief.sources = sources;
    if (!sources) return;
    unsigned char met[kCapacity.short_table] = {}, entry = 0;
    for_each_place(control, [&](size_t place) { sources[place * brief.each + met[place]++] = entry++; });
  }

  // The step that forms the marginal at `target`.
  const Control& control_for(const Item& item, const double* target) const noexcept {
    const Step* step = steps(item);
    while (step->target != target) ++step;
    return *step->control;
  }

  void set_message(ShortItem& brief, const Item& item) const noexcept {
    const SeparatorWork& separator = engine_.separators[work(item).links[item.link].separator];
    brief.result = separator.old.numbers;
    brief.message = separator.ratio;
  }

  void add_collect(const Item& item) noexcept {
    ShortItem brief = start(ShortKind::collect, item);
    set_factors(brief, item);
    set_marginal(brief, control_for(item, engine_.totals.data()));
    set_message(brief, item);
    lists_.brief.add(brief);
  }

  void add_root(const Item& item) noexcept {
    ShortItem brief = start(ShortKind::root, item);
    set_factors(brief, item);
    set_marginal(brief, control_for(item, &engine_.mass));
    lists_.brief.add(brief);
  }

  void add_form(const Item& item) noexcept {
    ShortItem brief = start(ShortKind::form, item);
    set_factors(brief, item);
    if (brief.factor_count > 0) lists_.brief.add(brief);
  }

  void add_send(const Item& item) noexcept {
    ShortItem brief = start(ShortKind::send, *pass_);
    set_marginal(brief, control_for(*pass_, engine_.totals.data() + item.totals));
    set_message(brief, item);
    brief.has_past = item.has_past;
    lists_.brief.add(brief);
  }

  void add_belief(const Item& item) noexcept {
    const Node& node = *item.belief->node;
    const CompiledNode& data = compiled(node);
    if (data.fixed_state < 0 && !source_) return copy_item(item);
    ShortItem brief;
    if (data.fixed_state >= 0) {
      brief.kind = ShortKind::known;
      brief.targets = static_cast<uint32_t>(node.number_of_states);
      brief.state = &data.fixed_state;
    } else {
      brief = start(ShortKind::belief, *source_);
      set_marginal(brief, control_for(*source_, engine_.belief_totals.data() + item.totals));
    }
    brief.result = data.belief;
    lists_.brief.add(brief);
  }

  // ---- Potentials ----

  // Those that are copied before the tape runs belong to no step.
  void copy_potentials_without_step() noexcept {
    for (; potential_ < tape_.potential_count && tape_.potentials[potential_].step == kNone; ++potential_)
      lists_.potentials.add(tape_.potentials[potential_]);
  }

  // The plan of the potential that the step multiplies, or null. Steps are asked for in their order.
  PotentialPlan* potential_of(size_t step) noexcept {
    copy_potentials_without_step();
    const bool found = potential_ < tape_.potential_count && tape_.potentials[potential_].step == step;
    return found ? tape_.potentials[potential_++].plan : nullptr;
  }

  void add_potential(size_t step) noexcept {
    const PotentialPlan* found = potential_of(step);
    if (!found) return;
    const PotentialPlan& plan = *found;
    ShortPotential potential = {found, static_cast<uint32_t>(lists_.factors.count),
                                static_cast<uint32_t>(lists_.known.count), 0};
    for (size_t m = 0; m < plan.members->size(); ++m) {
      const CompiledNode& data = compiled(*(*plan.members)[m]);
      if (plan.strides[m] == 0 || data.fixed_state < 0) continue;
      lists_.known.add({&data.fixed_state, plan.strides[m]});
      ++potential.known_count;
    }
    lists_.short_potentials.add(potential);
  }

  // ---- Items that stay what they are ----

  const Control* copy_control(const Control& control, const Shape& shape) noexcept {
    Control copy = control;
    copy.steps = lists_.numbers.copy(control.steps, std::min<size_t>(shape.outer + 1, shape.dimensions));
    copy.inner = lists_.nests.copy(control.inner, control.inner_count);
    return lists_.controls.add(copy);
  }

  void copy_step(size_t step, const Shape& shape) noexcept {
    if (PotentialPlan* plan = potential_of(step)) lists_.potentials.add({lists_.steps.count, plan});
    Step copy = tape_.steps[step];
    copy.control = copy_control(*copy.control, shape);
    lists_.steps.add(copy);
  }

  void copy_item(const Item& item) noexcept {
    ShortItem brief;
    brief.first = static_cast<uint32_t>(lists_.items.count);
    if (!as_it_is_) lists_.brief.add(brief);
    Item copy = item;
    copy.first_step = lists_.steps.count;
    copy.shape.counts = lists_.numbers.copy(item.shape.counts, item.shape.dimensions);
    for (size_t s = item.first_step; s < item.first_step + item.step_count; ++s) copy_step(s, item.shape);
    lists_.items.add(copy);
  }

  const TreeEngine& engine_;
  const Tape& tape_;
  const bool sums_;
  const bool as_it_is_;
  Lists& lists_;
  size_t item_ = 0;
  size_t potential_ = 0;
  const Item* pass_ = nullptr;    // the short pass that the following messages come from
  const Item* source_ = nullptr;  // the short pass that the following beliefs come from
};

}  // namespace

CopiedTape copy_tape(const TreeEngine& engine, const Tape& tape, tv_equilibrium_t equilibrium, bool as_it_is,
                     size_t most_bytes) noexcept {
  const bool sums = equilibrium == tv_equilibrium_sum;
  Lists lists;
  Writer(engine, tape, sums, as_it_is, lists).write();
  size_t bytes = 0;
  lists.for_each([&](auto& list) { bytes += list.count * sizeof(*list.data); });
  CopiedTape copied;
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
  Writer(engine, tape, sums, as_it_is, lists).write();
  copied.tape = {lists.items.data, lists.items.count, lists.steps.data, lists.potentials.data,
                 lists.potentials.count};
  copied.brief = {lists.brief.data,
                  lists.brief.count,
                  lists.factors.data,
                  lists.short_potentials.data,
                  lists.short_potentials.count,
                  lists.known.data};
  return copied;
}

}  // namespace tv
