// Declarations of nodes: category and kind come from the keywords, everything else from attributes.

#include <cmath>
#include <limits>

#include "net/parser.h"

namespace tv {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool is_numeric(const Node& node) noexcept {
  return node.subtype == tv_subtype_number || node.subtype == tv_subtype_interval;
}

}  // namespace

// The keywords have been read.
tv_status_t NetParser::parse_node(tv_node_category_t category, tv_node_kind_t kind) {
  Node* const created = new_node(domain_, category, kind);
  if (!created) return current_status();
  Node& node = *created;
  parsed_.resize(node.number);

  const Token token = lexer_.next();
  if (token != Token::name && token != Token::dotted_name) return fail("name expected");
  const tv_status_t naming = set_name(node, lexer_.view());
  if (naming == tv_status_twice) return fail("a node with name `" + lexer_.text() + "' already exists");
  if (naming) return naming;

  Keys keys;
  const auto parse_attribute = [&](const std::string& name) {
    return parse_node_attribute(node, name, keys);
  };
  if (tv_status_t status = parse_block(parse_attribute)) return status;
  node.attributes.reverse();
  if (!parsed(node).is_boolean || item_is_broken()) return tv_status_none;
  if (node.number_of_states != 2) return fail("a boolean node must have exactly two states");
  return set_subtype(node, tv_subtype_boolean);
}

tv_status_t NetParser::parse_node_attribute(Node& node, const std::string& name, Keys& keys) {
  // These two have messages of their own for the second time.
  if (name == "states") return parse_states(node, keys);
  if (name == "state_values") return parse_state_values(node, keys);
  if (tv_status_t status = check_new_key(keys, name)) return status;
  if (name == "label") return parse_string(node.label, "string expected");
  if (name == "subtype") return parse_subtype(node);
  if (name == "position") {
    WrittenNumber x, y;
    if (tv_status_t status = parse_pair(x, y)) return status;
    node.x = to_coordinate(x);
    node.y = to_coordinate(y);
    return tv_status_none;
  }
  return parse_user_attribute(node.attributes, name);
}

// `( string+ )`
tv_status_t NetParser::parse_states(Node& node, Keys& keys) {
  if (!is_discrete(node)) return fail("only discrete nodes can have states");
  if (!keys.insert("states").second) return fail("states specified twice (or more)");
  if (tv_status_t status = expect('(')) return status;
  std::vector<std::string> labels;
  for (;;) {
    const Token token = lexer_.next();
    if (token == punctuation(')')) break;
    if (token != Token::string) return fail("state or `)' expected");
    labels.push_back(lexer_.text());
  }
  if (labels.empty()) return fail("empty list of states");
  if (tv_status_t status = set_number_of_states(node, labels.size())) return status;
  for (size_t state = 0; state < labels.size(); ++state) set_state_label(node, state, labels[state]);
  parsed(node).states_known = true;
  return tv_status_none;
}

tv_status_t NetParser::parse_subtype(Node& node) {
  if (!is_discrete(node)) return fail("subtype designations only make sense for discrete nodes");
  const std::string_view word = lexer_.next() == Token::name ? lexer_.view() : std::string_view();
  if (word == "label") return set_subtype(node, tv_subtype_label);
  if (word == "number") return set_subtype(node, tv_subtype_number);
  if (word == "interval") return set_subtype(node, tv_subtype_interval);
  if (word != "boolean") return fail("`label', `boolean', `number', or `interval' expected");
  parsed(node).is_boolean = true;  // the states may still be to come
  return tv_status_none;
}

// `( value* )`: one for each state, or the bounds of all intervals.
tv_status_t NetParser::parse_state_values(Node& node, Keys& keys) {
  if (item_is_broken()) return fail_silently();  // it may be what the values need that could not be read
  if (!is_discrete(node)) return fail("only discrete nodes can have state values");
  if (!is_numeric(node)) return fail("only numeric nodes can have state values");
  if (!parsed(node).states_known) return fail("states must be specified before state values");
  if (!keys.insert("state_values").second) return fail("state values have already been specified");
  const size_t expected = node.number_of_states + (node.subtype == tv_subtype_interval ? 1 : 0);
  if (tv_status_t status = expect('(')) return status;
  for (size_t count = 0;; ++count) {
    const Token token = lexer_.next_operand();
    const bool ends = token == punctuation(')');
    if (ends && count == expected) return tv_status_none;
    double value = 0.0;
    if (!ends)
      if (tv_status_t status = parse_state_value(token, value)) return status;
    if (ends || count == expected) return fail("incorrect number of state values");
    if (tv_status_t status = set_state_value(node, count, value)) return status;
  }
}

// A number or `infinity`, with or without a sign in front.
tv_status_t NetParser::parse_state_value(Token first, double& value) {
  const bool is_negative = first == punctuation('-');
  const bool has_sign = is_negative || first == punctuation('+');
  const Token token = has_sign ? lexer_.next_operand() : first;
  if (token == Token::number)
    value = lexer_.number();
  else if (token == Token::name && lexer_.view() == "infinity")
    value = kInfinity;
  else
    return fail("state value expected");
  if (is_negative) value = -value;
  return tv_status_none;
}

}  // namespace tv
