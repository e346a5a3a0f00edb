// Generating a table: the model is checked, its expressions are made ready for evaluation, and the table is
// filled column by column, where a column belongs to one configuration of the parents. A column that differs
// from an earlier one only in parents that its expression does not mention is copied.
#include "expr/table_generator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "api/boundary.h"
#include "expr/convolution.h"
#include "expr/evaluator.h"
#include "expr/model.h"
#include "expr/results.h"
#include "expr/state_values.h"
#include "network/node_operations.h"
#include "network/node_tables.h"
#include "network/progress.h"
#include "network/refusals.h"
#include "tables/kernels/number_bounds.h"
#include "tables/table_numbers.h"

namespace tv {
namespace {

const char* table_word(const Node& node) noexcept {
  if (node.category == tv_category_decision) return "policy";
  return node.category == tv_category_utility ? "utility" : "conditional probability";
}

bool is_function(const Node& node) noexcept { return node.category == tv_category_function; }

// ---- One expression of the model over the parents ----

// A parent as a loop over its states.
struct Axis {
  Node* node;
  size_t states;
  size_t stride = 1;        // in columns
  size_t model_stride = 0;  // in expressions; 0 for a parent that is no model node
  size_t state = 0;
};

// A variable of an expression that stands for a parent.
struct Slot {
  size_t variable;
  size_t axis;
  bool sampled;  // runs through the points of an interval
};

class Column {
 public:
  // `axes` are empty for a function node, whose operands are results.
  Column(const Expression& expression, const Node& node, const std::vector<Axis>& axes,
         FunctionValues& results)
      : evaluator_(expression, is_function(node) ? Evaluator::Mode::results : Evaluator::Mode::variables,
                   node.model->samples_per_interval, results) {
    if (is_function(node)) return;
    std::vector<Variable>& variables = evaluator_.variables();
    for (size_t v = 0; v < variables.size(); ++v) {
      const auto axis = std::find_if(axes.begin(), axes.end(),
                                     [&](const Axis& one) { return one.node == variables[v].node; });
      if (axis == axes.end()) {
        functions_.push_back(v);
        continue;
      }
      const size_t position = static_cast<size_t>(axis - axes.begin());
      const bool sampled = variables[v].use == NodeUse::value && axis->node->subtype == tv_subtype_interval;
      slots_.push_back({v, position, sampled});
      variables[v].level = 1 + position + (sampled ? axes.size() : 0);
    }
    std::sort(slots_.begin(), slots_.end(), [](const Slot& a, const Slot& b) { return a.axis < b.axis; });
    evaluator_.levels_changed();
  }

  Evaluator& evaluator() noexcept { return evaluator_; }
  const std::vector<Slot>& slots() const noexcept { return slots_; }
  const std::vector<size_t>& functions() const noexcept { return functions_; }  // variables

  bool uses(size_t axis) const noexcept {
    return std::any_of(slots_.begin(), slots_.end(), [axis](const Slot& slot) { return slot.axis == axis; });
  }

 private:
  Evaluator evaluator_;
  std::vector<Slot> slots_;
  std::vector<size_t> functions_;
};

// ---- The procedure ----

class TableGenerator {
 public:
  TableGenerator(Node& node, Trace& trace) noexcept : node_(node), model_(*node.model), trace_(trace) {}

  tv_status_t run() {
    if (model_.expressions.empty()) {
      if (trace_.enabled()) trace_.print("Model for %s is unspecified\n", name(node_));
      return tv_status_invalid_expression;
    }
    if (trace_.enabled())
      trace_.print("Using model for %s to generate a %s table\n", name(node_), table_word(node_));
    if (tv_status_t status = check_values()) return status;
    if (tv_status_t status = check_expressions()) return status;
    if (tv_status_t status = evaluate_parents()) return status;
    std::vector<double> inputs;
    if (depends_on_results(node_)) current_inputs(node_, inputs);
    std::unique_ptr<Table> made;
    if (!own_table(node_)) made = default_node_table(node_, node_.parents);
    Table& table = made ? *made : *own_table(node_);
    if (!is_within_memory_limit(*node_.domain, bytes_of_numbers(table))) return tv_status_no_memory;
    Block<tv_number_t> numbers;
    numbers.allocate_uninitialized(table.size);
    numbers_ = numbers.data();
    if (tv_status_t status = fill(table)) return status;
    trace_.flush();
    if (tv_status_t status = trace_.status()) return status;
    node_.domain->hooks->save_potential(node_);
    if (has_data(table))  // the host may hold a pointer to them
      std::copy(numbers.begin(), numbers.end(), table.data.begin());
    else
      install(table, std::move(numbers), std::move(made));
    model_.inputs.swap(inputs);
    model_.stale = false;
    node_.domain->hooks->touch_table(node_);
    return tv_status_none;
  }

 private:
  void install(Table& table, Block<tv_number_t> numbers, std::unique_ptr<Table> made) noexcept {
    table.data = std::move(numbers);
    note_new_layout(table);
    if (made)
      install_table(node_.table, std::move(made));
    else
      node_.table = std::move(node_.blank_table);
  }

  static const char* name(Node& node) {
    const char* text = name_of(node);
    if (!text) throw std::bad_alloc();  // an automatic name could not be made
    return text;
  }

  tv_status_t check_values() {
    if (tv_status_t status = check_state_values(node_, trace_)) return status;
    for (Node* parent : node_.parents)
      if (tv_status_t status = check_state_values(*parent, trace_)) return status;
    return tv_status_none;
  }

  tv_status_t check_expressions() {
    tv_status_t status = tv_status_none;
    for (size_t i = 0; i < model_.expressions.size(); ++i) {
      const Expression* expression = model_.expressions[i];
      if (expression && suits(*expression, node_)) continue;
      trace_.print(expression ? "Invalid expression at index %zu\n" : "No expression at index %zu\n", i);
      status = tv_status_invalid_expression;
    }
    return status;
  }

  // What the evidence says about parents that are results rather than dimensions of the table.
  tv_status_t evaluate_parents() {
    for (Node* parent : node_.parents) {
      if (!is_function(node_) || is_real_valued_function(*parent)) continue;
      if (tv_status_t status = results_.evaluate_parent(*parent)) {
        if (trace_.enabled()) trace_.print("Evaluation of parent %s failed\n", name(*parent));
        return status;
      }
    }
    for (Node* parent : node_.parents) {
      if (!is_real_valued_function(*parent) || !occurs(model_, parent)) continue;
      double value;
      if (tv_status_t status = results_.number(*parent, value)) {
        if (trace_.enabled()) trace_.print("Evaluation of function node %s failed\n", name(*parent));
        return status;
      }
    }
    return tv_status_none;
  }

  // ---- Filling ----

  void make_axes(const Table& table) {
    for (Node* parent : table.nodes)
      if (parent != &node_) axes_.push_back({parent, parent->number_of_states});
    columns_ = 1;
    for (size_t i = axes_.size(); i-- > 0;) {
      axes_[i].stride = columns_;
      columns_ *= axes_[i].states;
    }
    size_t stride = 1;
    for (size_t i = model_.nodes.size(); i-- > 0;) {
      for (Axis& axis : axes_)
        if (axis.node == model_.nodes[i]) axis.model_stride = stride;
      stride *= model_.nodes[i]->number_of_states;
    }
  }

  tv_status_t fill(const Table& table) {
    make_axes(table);
    height_ = is_discrete(node_) ? node_.number_of_states : 1;
    masses_.resize(height_);
    sums_.resize(height_);
    least_.resize(height_);
    greatest_.resize(height_);
    size_t index = 0;
    if (is_function(node_)) {
      if (tv_status_t status = known_model_index(model_, results_, index)) return status;
    }
    programs_.resize(model_.expressions.size());
    ProgressMeter progress(*node_.domain, "tables", columns_);
    for (size_t column = 0; column < columns_; ++column) {
      if (tv_status_t status = progress.advance()) return status;
      if (!is_function(node_)) index = model_index();
      if (tv_status_t status = fill_column(index, column)) return status;
      advance();
    }
    return tv_status_none;
  }

  size_t model_index() const noexcept {
    size_t index = 0;
    for (const Axis& axis : axes_) index += axis.model_stride * axis.state;
    return index;
  }

  void advance() noexcept {
    for (size_t i = axes_.size(); i-- > 0;) {
      if (++axes_[i].state < axes_[i].states) return;
      axes_[i].state = 0;
    }
  }

  tv_status_t make_program(size_t index) {
    Column& program = programs_[index].emplace(*model_.expressions[index], node_, axes_, results_);
    for (const size_t v : program.functions()) {
      double value;
      if (tv_status_t status = results_.number(*program.evaluator().variables()[v].node, value))
        return status;
      program.evaluator().set(v, value);
    }
    return tv_status_none;
  }

  // The first column with the same expression and the same states of all parents that count.
  size_t original_of(const Column& program) const noexcept {
    size_t original = 0;
    for (size_t i = 0; i < axes_.size(); ++i)
      if (axes_[i].model_stride || program.uses(i)) original += axes_[i].stride * axes_[i].state;
    return original;
  }

  tv_status_t fill_column(size_t index, size_t column) {
    if (!programs_[index]) {
      if (tv_status_t status = make_program(index)) return status;
    }
    Column& program = *programs_[index];
    tv_number_t* const numbers = numbers_ + column * height_;
    if (!trace_.enabled()) {
      const size_t original = original_of(program);
      if (original != column) {
        std::copy_n(numbers_ + original * height_, height_, numbers);
        return tv_status_none;
      }
    }
    set_states(program);
    evaluations_ = 0;
    if (tv_status_t status = sample(program, 0)) return status;
    return store(numbers);
  }

  void set_states(Column& program) noexcept {
    for (const Slot& slot : program.slots()) {
      const Axis& axis = axes_[slot.axis];
      if (slot.sampled) continue;
      const Variable& variable = program.evaluator().variables()[slot.variable];
      program.evaluator().set(slot.variable,
                              program.evaluator().operand_of_state(*axis.node, variable.use, axis.state));
    }
  }

  // Runs through the sample points of the slots from this one on.
  tv_status_t sample(Column& program, size_t slot) {
    while (slot < program.slots().size() && !program.slots()[slot].sampled) ++slot;
    if (slot == program.slots().size()) return take_in(program);
    const Axis& axis = axes_[program.slots()[slot].axis];
    const SamplePoints points = sample_points(*axis.node, axis.state, model_.samples_per_interval);
    for (size_t k = 0; k < points.count(); ++k) {
      program.evaluator().set(program.slots()[slot].variable, points[k]);
      if (tv_status_t status = sample(program, slot + 1)) return status;
    }
    return tv_status_none;
  }

  // One evaluation, added to the column.
  tv_status_t take_in(Column& program) {
    if (tv_status_t status = evaluate(program.evaluator())) return status;
    if (evaluations_++ == 0) {
      sums_ = masses_;
      least_ = masses_;
      greatest_ = masses_;
      return tv_status_none;
    }
    for (size_t i = 0; i < height_; ++i) {
      sums_[i] += masses_[i];
      least_[i] = std::min(least_[i], masses_[i]);
      greatest_[i] = std::max(greatest_[i], masses_[i]);
    }
    return tv_status_none;
  }

  tv_status_t evaluate(Evaluator& evaluator) {
    if (evaluator.type() == ValueType::distribution) {
      if (tv_status_t status = evaluator.evaluate(distribution_)) return status;
      if (distribution_.op != tv_operator_aggregate)
        return distribution_masses(distribution_, node_, trace_, masses_.data());
      return aggregate_masses(distribution_, node_, trace_, masses_.data());
    }
    double value;
    if (tv_status_t status = evaluator.evaluate(value)) return status;
    if (!is_discrete(node_)) {
      masses_[0] = value;
      return tv_status_none;
    }
    size_t state;
    if (tv_status_t status = find_state(evaluator, value, state)) return status;
    std::fill(masses_.begin(), masses_.end(), 0.0);
    masses_[state] = 1;
    return tv_status_none;
  }

  // The state that a plain value selects.
  tv_status_t find_state(const Evaluator& evaluator, double value, size_t& state) {
    switch (node_.subtype) {
      case tv_subtype_label:
        return find_label(evaluator.labels().label(value), state);
      case tv_subtype_boolean:
        state = value != 0;
        return tv_status_none;
      case tv_subtype_number:
        return find_number(value, state);
      default:
        return find_interval(value, state);
    }
  }

  tv_status_t find_label(std::string_view label, size_t& state) {
    size_t found = 0;
    for (size_t i = 0; i < node_.number_of_states; ++i)
      if (state_label(node_, i) == label) {
        state = i;
        ++found;
      }
    if (found == 1) return tv_status_none;
    if (trace_.enabled())
      trace_.print("Node %s does not have a (unique) state labeled `%s'\n", name(node_),
                   std::string(label).c_str());
    return refuse(tv_status_invalid_expression, "node \"%s\" has no single state labeled \"%.*s\"",
                  shown_name(node_), static_cast<int>(std::min<size_t>(label.size(), 80)), label.data());
  }

  tv_status_t find_number(double value, size_t& state) {
    for (state = 0; state < node_.number_of_states; ++state)
      if (state_value(node_, state) == value) return tv_status_none;
    if (trace_.enabled())
      trace_.print("Node %s does not have a state with value %s\n", name(node_), NumberText(value).c_str());
    return refuse(tv_status_invalid_expression, "node \"%s\" has no state with the value %s",
                  shown_name(node_), NumberText(value).c_str());
  }

  // A bound belongs to the upper interval, the last one to the last interval.
  tv_status_t find_interval(double value, size_t& state) {
    const size_t states = node_.number_of_states;
    if (value >= with_infinity(state_value(node_, 0)) && value <= with_infinity(state_value(node_, states))) {
      for (state = states - 1; state > 0 && value < state_value(node_, state);) --state;
      return tv_status_none;
    }
    if (trace_.enabled())
      trace_.print("Value for node %s is out of bounds: %s\n", name(node_), NumberText(value).c_str());
    return refuse(tv_status_invalid_expression, "no interval of node \"%s\" holds the value %s",
                  shown_name(node_), NumberText(value).c_str());
  }

  tv_status_t store(tv_number_t* numbers) {
    tv_status_t status = tv_status_none;
    for (size_t i = 0; i < height_; ++i) {
      const double average = evaluations_ == 1 ? sums_[i] : sums_[i] / static_cast<double>(evaluations_);
      if (!(std::fabs(average) <= kLargestFloat)) return tv_status_computation_failed;
      numbers[i] = static_cast<tv_number_t>(average);
      if (!is_discrete(node_)) continue;
      if (least_[i] < greatest_[i] || least_[i] < 0) log_spread(i, average);
      if (least_[i] < 0) status = tv_status_invalid_probability_potential;
    }
    return status;
  }

  void log_spread(size_t state, double average) noexcept {
    if (!trace_.enabled()) return;
    trace_.text("(");
    for (const Axis& axis : axes_) trace_.print("%zu,", axis.state);
    trace_.print("%zu): %s (min=%s, max=%s)\n", state, NumberText(average).c_str(),
                 NumberText(least_[state]).c_str(), NumberText(greatest_[state]).c_str());
  }

  Node& node_;
  Model& model_;
  Trace& trace_;
  FunctionValues results_;
  tv_number_t* numbers_ = nullptr;  // the table in the making
  std::vector<Axis> axes_;          // in table order
  size_t columns_ = 1, height_ = 1;
  std::vector<std::optional<Column>> programs_;  // by model index, made when first needed
  DistributionValue distribution_;
  std::vector<double> masses_;                   // of one evaluation
  std::vector<double> sums_, least_, greatest_;  // of the evaluations of a column
  size_t evaluations_ = 0;
};

}  // namespace

tv_status_t generate_table(Node& node) {
  Trace trace(*node.domain);
  const tv_status_t status = TableGenerator(node, trace).run();
  if (status) trace.flush();
  return trace.status() ? trace.status() : status;
}

bool depends_on_results(const Node& node) noexcept {
  if (is_function(node)) return !node.parents.empty();
  return std::any_of(node.parents.begin(), node.parents.end(),
                     [](const Node* parent) { return is_real_valued_function(*parent); });
}

tv_status_t current_inputs(Node& node, std::vector<double>& inputs) {
  FunctionValues results;
  for (Node* parent : node.parents) {
    if (is_real_valued_function(*parent) ? !occurs(*node.model, parent) : !is_function(node)) continue;
    if (is_discrete(*parent)) {
      std::vector<double> beliefs;
      if (tv_status_t status = results_of(*parent).beliefs(*parent, beliefs)) return status;
      inputs.insert(inputs.end(), beliefs.begin(), beliefs.end());
    } else {
      double number = 0;
      if (tv_status_t status = results.number(*parent, number)) return status;
      inputs.push_back(number);
    }
  }
  return tv_status_none;
}

tv_status_t refresh_table(Node& node) {
  Model& model = *node.model;
  if (!model.stale) {
    if (!depends_on_results(node)) return tv_status_none;
    std::vector<double> inputs;
    const tv_status_t status = current_inputs(node, inputs);
    const bool unreadable = status == tv_status_no_equilibrium || status == tv_status_not_compiled;
    if (unreadable && !model.inputs.empty()) return tv_status_none;
    const bool same = !status && inputs.size() == model.inputs.size() &&
                      std::equal(inputs.begin(), inputs.end(), model.inputs.begin());
    if (same) return tv_status_none;
    model.stale = true;
  }
  return generate_table(node);
}

}  // namespace tv

tv_status_t tv_node_generate_table(tv_node_t* node) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node && node->model && !tv::is_real_valued_function(*node))) return tv_status_usage;
    return node->model->stale ? tv::generate_table(*node) : tv_status_none;
  });
}

tv_status_t tv_domain_generate_tables(tv_domain_t* domain) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain)) return tv_status_usage;
    for (tv::Node& node : domain->nodes) {
      if (!node.model || tv::is_real_valued_function(node) || !node.model->stale) continue;
      if (tv_status_t status = tv::generate_table(node)) return status;
    }
    return tv_status_none;
  });
}
