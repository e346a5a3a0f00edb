// Potentials: which nodes they join, the links that follow from that, and the fields of their body.

#include <algorithm>

#include "expr/model.h"
#include "net/parser.h"
#include "network/links/chain_graph.h"
#include "network/links/links.h"
#include "network/node_tables.h"

namespace tv {
namespace {

const char* name_of_cycle(tv_status_t reason) noexcept {
  return reason == tv_status_cyclic_network ? "directed cycle" : "cyclic functional dependency";
}

bool is_cycle(tv_status_t status) noexcept {
  return status == tv_status_cyclic_network || status == tv_status_cyclic_functional_dependency;
}

std::string link_message(const Node& parent, const Node& child, tv_status_t reason) {
  return "adding the link " + parent.name + " --> " + child.name + " creates a " + name_of_cycle(reason);
}

bool same_nodes(const NodeList& a, const NodeList& b) noexcept {
  return a.size() == b.size() &&
         std::all_of(a.begin(), a.end(), [&](const Node* node) { return b.contains(node); });
}

}  // namespace

// `potential ( child+ [ | parent* ] ) { field* }`
tv_status_t NetParser::parse_potential() {
  Potential potential;
  if (tv_status_t status = parse_potential_header(potential)) return status;
  if (potential.is_chain()) return parse_chain_potential(potential);
  Node& child = *potential.children.front();
  if (tv_status_t status = check_parents(child, potential.parents)) return status;
  if (parsed(child).has_potential) return fail("potential specified twice for node `" + child.name + "'");
  parsed(child).has_potential = true;
  if (tv_status_t status = check_completeness(child, potential.parents)) return status;
  if (tv_status_t status = add_links(child, potential.parents)) return status;
  return parse_body(potential);
}

tv_status_t NetParser::parse_body(Potential& potential) {
  const auto parse_value = [&](const std::string& field) { return parse_field(field, potential); };
  if (tv_status_t status = parse_block(parse_value)) return status;
  Model* const model = potential.model();
  if (model && potential.has_data)
    model->stale = false;  // the data are taken for what the model gives
  else if (!model && !potential.has_data && !item_is_broken())
    lexer_.report_warning("warning: no potential data specified");
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
    if (lost_names_.count(name)) return fail_silently();
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

// Links that came with a chain potential are there already.
tv_status_t NetParser::check_completeness(const Node& child, const NodeList& parents) {
  for (const Node* parent : child.parents)
    if (!parents.contains(parent))
      return fail("potential for node " + child.name + " must include all parents");
  return tv_status_none;
}

// A discrete parent goes in front of those that a node has, any other behind them. So the discrete ones
// are added from the last to the first, for tables to have the order as written. Links into one child
// cannot close each other's cycles: of those that close one, the first as written is reported.
tv_status_t NetParser::add_links(Node& child, const NodeList& parents) {
  NodeList order;
  order.reserve(parents.size());
  for (size_t i = parents.size(); i-- > 0;)
    if (is_discrete(*parents[i]) && !is_parent(*parents[i], child)) order.push_back(parents[i]);
  const size_t discrete_count = order.size();
  for (Node* parent : parents)
    if (!is_discrete(*parent) && !is_parent(*parent, child)) order.push_back(parent);

  const Node* refused = nullptr;
  tv_status_t reason = tv_status_none;
  for (size_t i = 0; i < order.size(); ++i) {
    if (i == discrete_count && refused) break;
    const tv_status_t status = add_parent(child, *order[i]);
    if (status == tv_status_none) continue;
    if (!is_cycle(status)) return status;
    refused = order[i];
    reason = status;
    if (i >= discrete_count) break;
  }
  return refused ? fail(link_message(*refused, child, reason)) : tv_status_none;
}

// Several children: undirected links among them, and directed ones from every parent to every child.
tv_status_t NetParser::parse_chain_potential(Potential& potential) {
  if (tv_status_t status = check_chain_nodes(potential)) return status;
  if (tv_status_t status = add_chain_links(potential)) return status;
  if (tv_status_t status = parse_body(potential)) return status;
  return finish_chain_potential(potential);
}

tv_status_t NetParser::check_chain_nodes(const Potential& potential) {
  for (const NodeList* nodes : {&potential.children, &potential.parents})
    for (const Node* node : *nodes)
      if (is_real_valued_function(*node))
        return fail("real-valued function nodes are not allowed in chain potentials");
  for (const Node* child : potential.children)
    if (child->category != tv_category_chance || !is_discrete(*child))
      return fail("undirected links can only be specified for discrete chance nodes");
  const Node& first = *potential.children.front();
  if (tv_status_t status = check_parents(first, potential.parents)) return status;
  for (const ChainPotential& other : domain_.chain_potentials)
    if (same_nodes(other.children, potential.children))
      return fail("links specified twice for " + first.name);
  return tv_status_none;
}

tv_status_t NetParser::add_chain_links(const Potential& potential) {
  for (Node* child : potential.children) {
    if (child->number <= old_nodes_) return fail("potential specified twice for node `" + child->name + "'");
    if (parsed(*child).has_potential)
      for (const Node* parent : potential.parents)
        if (!is_parent(*parent, *child))
          return fail("the directed link " + parent->name + " --> " + child->name +
                      " should have been included in the potential for " + child->name);
    if (tv_status_t status = add_links(*child, potential.parents)) return status;
  }
  const tv_status_t status = check_chain_potential(potential.children);
  if (is_cycle(status)) return fail(std::string("adding chain potential creates a ") + name_of_cycle(status));
  return status;
}

// Without data the potential says that the children are linked, and no more.
tv_status_t NetParser::finish_chain_potential(Potential& potential) {
  std::unique_ptr<Table> table = std::move(potential.chain_table);
  if (!table) {
    NodeList nodes = potential.parents;
    for (Node* child : potential.children) nodes.push_back(child);
    table = new_table(domain_, TableKind::chain);
    set_table_nodes(*table, nodes);
  }
  add_chain_potential(domain_, potential.children, std::move(table));
  return tv_status_none;
}

tv_status_t NetParser::parse_field(const std::string& field, Potential& potential) {
  if (field == "data") return parse_data(potential);
  if (field == "experience") return parse_experience(potential);
  if (field == "fading") return parse_fading(potential);
  if (field == "model_nodes") return parse_model_nodes(potential);
  if (field == "model_data") return parse_model_data(potential);
  if (field == "samples_per_interval") return parse_samples_per_interval(potential);
  return fail("unknown field: `" + field + "'");
}

tv_status_t NetParser::parse_data(Potential& potential) {
  Node& child = *potential.children.front();
  if (potential.has_data) return fail("`data' attribute specified twice");
  if (is_real_valued_function(child))
    return fail("`data' attribute is not allowed for real-valued function nodes");
  potential.has_data = true;
  if (potential.is_chain()) {
    NodeList nodes = potential.parents;
    for (Node* node : potential.children) nodes.push_back(node);
    return parse_table(nodes, TableKind::chain, nullptr, potential.chain_table);
  }
  return parse_table(node_table_nodes(child, potential.parents), TableKind::node, &child, child.table);
}

tv_status_t NetParser::parse_experience(Potential& potential) {
  if (potential.is_chain()) return fail("experience data cannot be specified for chain graph potentials");
  Node& child = *potential.children.front();
  if (child.category != tv_category_chance)
    return fail("experience data can only be specified for chance nodes");
  if (potential.has_experience) return fail("`experience' attribute specified twice");
  potential.has_experience = true;
  return parse_table(discrete_nodes(potential.parents), TableKind::experience, &child,
                     child.experience_table);
}

tv_status_t NetParser::parse_fading(Potential& potential) {
  if (potential.is_chain()) return fail("fading data cannot be specified for chain graph potentials");
  Node& child = *potential.children.front();
  if (child.category != tv_category_chance || !is_discrete(child))
    return fail("fading data can only be specified for discrete chance nodes");
  if (potential.has_fading) return fail("`fading' attribute specified twice");
  potential.has_fading = true;
  return parse_table(discrete_nodes(potential.parents), TableKind::fading, &child, child.fading_table);
}

}  // namespace tv
