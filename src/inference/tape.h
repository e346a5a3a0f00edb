// What a propagation does, written down before it is done: a list of passes over tables and of messages
// between them. The list depends on which nodes are observed, not on their states, so that a list kept from
// an earlier propagation serves every later one with the same nodes observed.
#pragma once

#include <cstdint>
#include <memory>

#include "inference/fixed_list.h"
#include "network/types.h"
#include "tables/control.h"

namespace tv {

struct BeliefPlan;
struct Branches;
struct PotentialPlan;
struct RestrictedTable;

enum class ItemKind : unsigned char {
  collect,         // a clique takes in what it has received and tells its neighbour towards the root
  root,            // the same for the root, whose mass is the constant of the propagation
  pass,            // steps over a clique's table
  separator_pass,  // steps over a separator's table
  message,         // a marginal formed in a pass becomes the update of a clique further out
  belief           // a marginal formed in a pass becomes a node's belief
};

struct Item {
  ItemKind kind;
  bool has_past = true;      // message: the separator has an old marginal to divide by
  bool starts_anew = false;  // collect, root: the first step forms the table, whatever it held before
  bool repeats = false;      // pass: the table has its new numbers since an earlier pass
  uint32_t clique = 0;       // position of the clique that is run over or speaks
  uint32_t link = 0;         // collect, message: the link that is spoken through
  uint32_t updates = 0;      // collect, root: how many of the steps change the table
  uint32_t formed = 0;       // how many of the steps form the table of a factored clique
  uint32_t step_count = 0;
  size_t first_step = 0;
  size_t size = 0;          // collect, message: entries of the separator
  size_t totals = 0;        // collect, message, belief: where the marginal stands
  size_t clear_totals = 0;  // pass: how many totals of messages and of beliefs it starts from zero
  size_t clear_beliefs = 0;
  Shape shape;  // of the table that is run over
  float* numbers = nullptr;
  const RestrictedTable* table = nullptr;  // of a belief
  const BeliefPlan* belief = nullptr;
};

// A step whose operand is a potential: where in it the states that are fixed now begin is found out each
// time. Without a step, a potential that is copied.
struct PotentialStep {
  size_t step;
  PotentialPlan* plan;
};

struct ShortTape;  // inference/short_tape.h

struct Tape {
  Item* items = nullptr;
  size_t item_count = 0;
  Step* steps = nullptr;
  PotentialStep* potentials = nullptr;
  size_t potential_count = 0;
  Branches* branches = nullptr;      // of a kept tape: found when it is first run on threads
  const ShortTape* brief = nullptr;  // of a kept tape: what is done, with `items` in between
};

// How much of each list a tape needs.
struct TapeRoom {
  size_t items = 0, steps = 0, potential_steps = 0, controls = 0;
  size_t dimensions = 0;  // of all controls

  size_t bytes() const noexcept;
};

// Where a tape, or a part of one, is written.
struct TapeLists {
  std::unique_ptr<unsigned char[]> memory;
  FixedList<Item> items;
  FixedList<Step> steps;
  FixedList<PotentialStep> potential_steps;
  FixedList<Control> controls;
  FixedList<size_t> control_steps;
  FixedList<Dimension> control_nests;

  // Takes over a block of `room.bytes()`.
  void set_room(std::unique_ptr<unsigned char[]> block, const TapeRoom& room) noexcept;
  void clear() noexcept;

  // A control in these lists. `make(control)` sets its steps and finishes it.
  template <class Make>
  const Control& make_control(const Shape& shape, Make make) noexcept {
    Control control;
    control.steps = control_steps.take(shape.dimensions);
    control.inner = control_nests.end();
    make(control);
    control_nests.take(control.inner_count);
    return controls.push_back(control);
  }
  Tape tape() const noexcept;
};

}  // namespace tv
