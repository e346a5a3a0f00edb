// The writer of network descriptions: the domain's attributes, all nodes, all potentials, in a fixed layout
// that the parser reads back.

#include "api/boundary.h"
#include "api/streams.h"
#include "expr/expression.h"
#include "net/table_writer.h"
#include "net/writable.h"
#include "network/domain.h"
#include "network/node_operations.h"
#include "network/node_tables.h"
#include "tables/table_numbers.h"
#include "tables/table_operations.h"
#include "text/state_text.h"

namespace tv {
namespace {

constexpr size_t kLargestBlank = size_t{1} << 20;    // numbers that are all the same
constexpr size_t kLargestWritten = size_t{1} << 32;  // where they cannot be left out, and of states

constexpr std::string_view kInner = "    ";  // in front of attributes and fields
constexpr size_t kDefaultSamples = 25;
constexpr std::string_view kDataIndent = "\t";  // in front of further lines of data

const char* category_keyword(tv_node_category_t category) noexcept {
  switch (category) {
    case tv_category_decision:
      return "decision ";
    case tv_category_utility:
      return "utility ";
    case tv_category_function:
      return "function ";
    default:
      return "node ";
  }
}

const char* subtype_keyword(tv_node_subtype_t subtype) noexcept {
  switch (subtype) {
    case tv_subtype_label:
      return "label";
    case tv_subtype_boolean:
      return "boolean";
    case tv_subtype_number:
      return "number";
    case tv_subtype_interval:
      return "interval";
    default:
      return nullptr;
  }
}

class NetWriter {
 public:
  NetWriter(OutputSink& sink, Domain& domain) noexcept : sink_(sink), domain_(domain) {}

  tv_status_t write() {
    if (tv_status_t status = prepare()) return status;
    if (tv_status_t status = check_is_writable(domain_)) return status;
    write_header();
    for (const Node& node : domain_.nodes)
      if (tv_status_t status = write_node(node)) return status;
    for (Node& node : domain_.nodes)
      if (tv_status_t status = write_potential(node)) return status;
    for (const ChainPotential& potential : domain_.chain_potentials) write_chain_potential(potential);
    return sink_.finish();
  }

 private:
  template <class... Pieces>
  void put(const Pieces&... pieces) noexcept {
    (sink_.text(pieces), ...);
  }

  // Names exist only when somebody asks. A table that nobody gave is uniform, and what was learned about it
  // stands beside it.
  tv_status_t prepare() {
    for (Node& node : domain_.nodes) {
      if (!name_of(node)) return current_status();
      if (node.number_of_states > kLargestWritten) return tv_status_no_memory;
      if (!own_table(node) && (node.experience_table || node.fading_table) && !table_of(node))
        return current_status();
      for (const Table* table : {node.experience_table.get(), node.fading_table.get()})
        if (table && !can_be_written(*table)) return tv_status_no_memory;
    }
    for (const ChainPotential& potential : domain_.chain_potentials)
      if (!can_be_written(*potential.table)) return tv_status_no_memory;
    return tv_status_none;
  }

  void write_size(size_t size) noexcept { put(_tv_print_size(domain_.print_context, size)); }

  void write_header() {
    put("net\n{\n    node_size = (");
    write_size(domain_.node_width);
    put(" ");
    write_size(domain_.node_height);
    put(");\n");
    write_attributes(domain_.attributes);
    put("}\n");
  }

  void write_attributes(const AttributeList& attributes) {
    for (const Attribute& attribute : attributes)
      put(kInner, attribute.key, " = ", quoted_text(attribute.value), ";\n");
  }

  // ---- Nodes ----

  tv_status_t write_node(const Node& node) {
    const bool is_discrete_function = node.category == tv_category_function && is_discrete(node);
    put("\n",
        is_continuous(node)    ? "continuous "
        : is_discrete_function ? "discrete "
                               : "",
        category_keyword(node.category), node.name, "\n{\n");
    if (!node.label.empty()) put(kInner, "label = ", quoted_text(node.label), ";\n");
    if (node.x != 0 || node.y != 0)
      put(kInner, "position = (", std::to_string(node.x), " ", std::to_string(node.y), ");\n");
    if (is_discrete(node))
      if (tv_status_t status = write_states(node)) return status;
    write_attributes(node.attributes);
    put("}\n");
    return sink_.status();
  }

  tv_status_t write_states(const Node& node) {
    put(kInner, "states = (");
    for (size_t state = 0; state < node.number_of_states; ++state)
      put(state ? " " : "", quoted_text(stored_label(node, state)));
    put(");\n");
    const char* const subtype = subtype_keyword(node.subtype);
    if (!subtype) return tv_status_error;
    if (node.subtype != tv_subtype_label || has_model(node)) put(kInner, "subtype = ", subtype, ";\n");
    const bool is_interval = node.subtype == tv_subtype_interval;
    if ((node.subtype != tv_subtype_number && !is_interval) || node.state_values.empty())
      return tv_status_none;
    put(kInner, "state_values = (");
    for (size_t i = 0; i < node.number_of_states + is_interval; ++i) {
      if (i) put(" ");
      write_state_value(sink_, node.state_values[i]);
    }
    put(");\n");
    return tv_status_none;
  }

  // Without the names that states of a boolean node have on their own.
  static std::string_view stored_label(const Node& node, size_t state) noexcept {
    return node.state_labels.empty() ? std::string_view() : node.state_labels[state];
  }

  // ---- Potentials ----

  static bool has_model(const Node& node) noexcept { return node.model != nullptr; }
  static bool has_current_table(const Node& node) noexcept {
    return has_written_table(node) && !(node.model && node.model->stale);
  }

  // An enormous table that nobody has given numbers reads the same when it is left out.
  static bool has_written_table(const Node& node) noexcept {
    return node.table || (node.blank_table && node.blank_table->size <= kLargestBlank);
  }
  static bool can_be_written(const Table& table) noexcept {
    return has_data(table) || table.size <= kLargestWritten;
  }

  tv_status_t write_potential(const Node& node) {
    put("\npotential (", node.name);
    write_parents(node);
    put(")");
    if (!has_written_table(node) && !has_model(node) && !node.experience_table && !node.fading_table) {
      put(" {}\n");
      return sink_.status();
    }
    put("\n{\n");
    if (node.model) write_model(*node.model);
    if (has_current_table(node)) write_field("data", *own_table(node));
    if (node.experience_table) write_learned("experience", *node.experience_table);
    if (node.fading_table) write_learned("fading", *node.fading_table);
    put("}\n");
    return sink_.status();
  }

  // The host may have given each table of a node another order; the reader knows that of the parents alone.
  void write_learned(std::string_view keyword, const Table& table) {
    const NodeList order = discrete_nodes(written_parents(*table.owner));
    if (order == table.nodes) return write_field(keyword, table);
    const std::unique_ptr<Table> reordered = clone_table(table);
    permute_table(*reordered, order);
    write_field(keyword, *reordered);
  }

  // Expressions stand only for all configurations together.
  void write_model(const Model& model) {
    put(kInner, "model_nodes = (");
    for (const Node* node : model.nodes) put(node == model.nodes.front() ? "" : " ", node->name);
    put(");\n");
    if (model.samples_per_interval != kDefaultSamples) {
      put(kInner, "samples_per_interval = ");
      write_size(model.samples_per_interval);
      put(";\n");
    }
    const std::vector<Expression*>& expressions = model.expressions;
    if (!has_all_expressions(model)) return;
    put(kInner, "model_data", expressions.size() > 1 ? "\n\t   " : "", " = ( ");
    for (size_t i = 0; i < expressions.size(); ++i) put(i ? ",\n\t\t" : "", expression_text(*expressions[i]));
    put(" );\n");
  }

  // In the order in which the data name them, real-valued functions last.
  static NodeList written_parents(const Node& node) {
    const bool by_table = own_table(node) && node.category != tv_category_function;
    NodeList parents;
    parents.reserve(node.parents.size());
    for (Node* parent : by_table ? own_table(node)->nodes : node.parents)
      if (parent != &node && !is_real_valued_function(*parent)) parents.push_back(parent);
    for (Node* parent : node.parents)
      if (is_real_valued_function(*parent)) parents.push_back(parent);
    return parents;
  }

  void write_parents(const Node& node) {
    if (node.parents.empty()) return;
    put(" |");
    for (const Node* parent : written_parents(node)) put(" ", parent->name);
  }

  void write_field(std::string_view keyword, const Table& table) {
    put(kInner, keyword);
    if (!data_fits_on_line(table)) put("\n", kInner);
    put(" = ");
    write_table(sink_, table, kDataIndent);
  }

  void write_chain_potential(const ChainPotential& potential) {
    put("\npotential (");
    for (const Node* child : potential.children)
      put(child == potential.children.front() ? "" : " ", child->name);
    put(" |");
    for (const Node* node : potential.table->nodes)
      if (!potential.children.contains(node)) put(" ", node->name);
    put(")\n{\n", kInner, "data = ");
    write_table(sink_, *potential.table, kDataIndent);
    put("}\n");
  }

  OutputSink& sink_;
  Domain& domain_;
};

tv_status_t write_domain(OutputSink& sink, Domain& domain) {
  const CLocale locale;
  if (!locale.selected()) return current_status();
  return NetWriter(sink, domain).write();
}

}  // namespace
}  // namespace tv

tv_status_t tv_domain_write_net(tv_domain_t* domain, FILE* stream) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(domain && stream)) return tv_status_usage;
    tv::OutputSink sink(stream);
    return tv::write_domain(sink, *domain);
  });
}

char* tv_domain_to_net_string(tv_domain_t* domain) {
  return tv::guarded(static_cast<char*>(nullptr), [&]() -> char* {
    if (!tv::check(domain)) return nullptr;
    tv::OutputSink sink;
    if (tv_status_t status = tv::write_domain(sink, *domain)) {
      tv::store_status(status);
      return nullptr;
    }
    return sink.release();
  });
}
