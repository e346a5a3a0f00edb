// Potentials: which nodes they join, the links that follow from that, and the fields of their body.

#include "net/parser.h"
#include "network/links.h"
#include "network/node_tables.h"

namespace tv {
namespace {

std::string link_message(const Node& parent, const Node& child, tv_status_t reason) {
  const char* cycle = reason == tv_status_cyclic_network ? "directed cycle" : "cyclic functional dependency";
  return "adding the link " + parent.name + " --> " + child.name + " creates a " + cycle;
}

}  // namespace

// `potential ( child+ [ | parent* ] ) { field* }`
tv_status_t NetParser::parse_potential() {
  Potential potential;
  if (tv_status_t status = parse_potential_header(potential)) return status;
  if (potential.children.size() > 1) return refuse("chain potentials are not supported yet");
  Node& child = *potential.children.front();
  if (tv_status_t status = check_parents(child, potential.parents)) return status;
  if (parsed(child).has_potential) return fail("potential specified twice for node `" + child.name + "'");
  parsed(child).has_potential = true;
  if (tv_status_t status = add_links(child, potential.parents)) return status;

  const auto parse_value = [&](const std::string& field) { return parse_field(field, potential); };
  if (tv_status_t status = parse_block(parse_value)) return status;
  if (!potential.has_data) lexer_.report_warning("warning: no potential data specified");
  return tv_status_none;
}

tv_status_t NetParser::parse_potential_header(Potential& potential) {
  if (tv_status_t status = expect('(')) return status;
  ++potential_count_;
  NodeList* nodes = &potential.children;
  for (;;) {
    const bool in_children = nodes == &potential.children;
    const Token token = lexer_.next();
    const bool ends_list = token == punctuation(')') || (in_children && token == punctuation('|'));
    if (ends_list && potential.children.empty()) return fail("empty child node list");
    if (token == punctuation(')')) return tv_status_none;
    if (ends_list) {
      nodes = &potential.parents;
      continue;
    }
    if (token != Token::name && token != Token::dotted_name)
      return fail(in_children ? "`|', `)', or a node name expected" : "`)' or a node name expected");
    Node* node = nullptr;
    if (tv_status_t status = find_potential_node(node)) return status;
    nodes->push_back(node);
  }
}

// The node that the name just read stands for; it may stand in the potential only once.
tv_status_t NetParser::find_potential_node(Node*& node) {
  const std::string name = lexer_.text();
  node = find_node(domain_, name);
  if (!node) {
    const std::string instance = name.substr(0, name.rfind('.'));
    if (instance != name && find_node(domain_, instance))
      return fail("node `" + instance + "' is not an instance node");
    return fail("node `" + name + "' not found");
  }
  if (parsed(*node).potential == potential_count_)
    return fail("node `" + name + "' appears twice in potential specification");
  parsed(*node).potential = potential_count_;
  return tv_status_none;
}

// Function nodes take parents of every kind; the parents of all others follow the layout of tables.
tv_status_t NetParser::check_parents(const Node& child, const NodeList& parents) {
  bool seen_continuous = false, seen_function = false;
  for (const Node* parent : parents) {
    const bool is_function = is_real_valued_function(*parent);
    if (child.category != tv_category_function) {
      if (parent->category == tv_category_utility)
        return fail("utility node `" + parent->name + "' specified as parent");
      if (is_discrete(child) && is_continuous(*parent))
        return fail("continuous node `" + parent->name + "' is not allowed as parent of discrete node `" +
                    child.name + "'");
      if (is_discrete(*parent) && seen_continuous) return fail("discrete parents must appear first");
    }
    if (!is_function && seen_function) return fail("real-valued function parents must appear last");
    seen_continuous |= is_continuous(*parent);
    seen_function |= is_function;
  }
  return tv_status_none;
}

// A discrete parent goes in front of those that a node has, any other behind them. So the discrete ones
// are added from the last to the first, for tables to have the order as written. Links into one child
// cannot close each other's cycles: of those that close one, the first as written is reported.
tv_status_t NetParser::add_links(Node& child, const NodeList& parents) {
  NodeList order;
  order.reserve(parents.size());
  for (size_t i = parents.size(); i-- > 0;)
    if (is_discrete(*parents[i])) order.push_back(parents[i]);
  const size_t discrete_count = order.size();
  for (Node* parent : parents)
    if (!is_discrete(*parent)) order.push_back(parent);

  const Node* refused = nullptr;
  tv_status_t reason = tv_status_none;
  for (size_t i = 0; i < order.size(); ++i) {
    if (i == discrete_count && refused) break;
    const tv_status_t status = _tv_node_add_parent(child, *order[i]);
    if (status == tv_status_none) continue;
    if (status != tv_status_cyclic_network && status != tv_status_cyclic_functional_dependency) return status;
    refused = order[i];
    reason = status;
    if (i >= discrete_count) break;
  }
  return refused ? fail(link_message(*refused, child, reason)) : tv_status_none;
}

tv_status_t NetParser::parse_field(const std::string& field, Potential& potential) {
  if (field == "data") return parse_data(potential);
  if (field == "experience") return parse_experience(potential);
  if (field == "fading") return parse_fading(potential);
  if (field == "model_nodes" || field == "samples_per_interval") {
    if (is_continuous(*potential.children.front())) return fail("models cannot be specified for CG nodes");
    return refuse("models are not supported yet");
  }
  if (field == "model_data") return fail("`model_nodes' attribute has not been specified");
  return fail("unknown field: `" + field + "'");
}

tv_status_t NetParser::parse_data(Potential& potential) {
  Node& child = *potential.children.front();
  if (potential.has_data) return fail("`data' attribute specified twice");
  if (is_real_valued_function(child))
    return fail("`data' attribute is not allowed for real-valued function nodes");
  potential.has_data = true;
  return parse_table(node_table_nodes(child, potential.parents), TableKind::node, child, child.table);
}

tv_status_t NetParser::parse_experience(Potential& potential) {
  Node& child = *potential.children.front();
  if (child.category != tv_category_chance)
    return fail("experience data can only be specified for chance nodes");
  if (potential.has_experience) return fail("`experience' attribute specified twice");
  potential.has_experience = true;
  return parse_table(discrete_nodes(potential.parents), TableKind::experience, child, child.experience_table);
}

tv_status_t NetParser::parse_fading(Potential& potential) {
  Node& child = *potential.children.front();
  if (child.category != tv_category_chance || !is_discrete(child))
    return fail("fading data can only be specified for discrete chance nodes");
  if (potential.has_fading) return fail("`fading' attribute specified twice");
  potential.has_fading = true;
  return parse_table(discrete_nodes(potential.parents), TableKind::fading, child, child.fading_table);
}

}  // namespace tv
