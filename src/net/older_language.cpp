// The older node-specification language: a domain as a list of discrete chance nodes, each with its parents
// and its table. Nodes may be used before they are defined, and the tables tell how many states they have:
//
//   file       := [ width height scale ] definition*
//   definition := NAME parent* ( numbers nested as in the newer language ) [ "label" ] [ x y ]

#include <algorithm>

#include "net/parser.h"
#include "network/node_tables.h"

namespace tv {
namespace {

bool is_letter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
bool is_space(char c) noexcept { return c == ' ' || (c >= '\t' && c <= '\r'); }

void skip_space(std::string_view& text) noexcept {
  for (;;) {
    while (!text.empty() && is_space(text[0])) text.remove_prefix(1);
    if (text.empty() || text[0] != '%') return;
    text.remove_prefix(std::min(text.find_first_of("\n\r"), text.size()));
  }
}

std::string_view take_name(std::string_view& text) noexcept {
  size_t length = 0;
  while (length < text.size() && (is_letter(text[length]) || is_digit(text[length]) || text[length] == '.'))
    ++length;
  const std::string_view name = text.substr(0, length);
  text.remove_prefix(length);
  return name;
}

}  // namespace

bool uses_older_language(std::string_view text) noexcept {
  skip_space(text);
  if (text.empty()) return false;
  if (is_digit(text[0])) return true;
  for (bool first = true; !text.empty() && is_letter(text[0]); first = false) {
    const std::string_view name = take_name(text);
    if (first && is_keyword(name)) return false;
    skip_space(text);
    if (!text.empty() && text[0] == '(') return true;
  }
  return false;
}

tv_status_t NetParser::parse_older() {
  is_older_ = true;
  if (tv_status_t status = parse_older_header()) return status;
  for (;;) {
    const Token token = lexer_.next();
    if (token == Token::end) break;
    if (token != Token::name && token != Token::dotted_name)
      return fail("node name (or end-of-file) expected");
    if (tv_status_t status = parse_older_definition()) return status;
  }
  if (tv_status_t status = check_older_nodes()) return status;
  domain_.nodes.reverse();
  return tv_status_none;
}

tv_status_t NetParser::parse_older_header() {
  const Token token = lexer_.next();
  lexer_.push_back();
  if (token != Token::number) return tv_status_none;
  WrittenNumber width, height, scale;
  for (WrittenNumber* number : {&width, &height, &scale})
    if (!read_written(*number)) return fail("number expected");
  position_scale_ = scale.value;
  if (width.value < 0 || height.value < 0 || position_scale_ < 0)
    return fail("node width and height, and scale factor must be nonnegative");
  domain_.node_width = to_size(width);
  domain_.node_height = to_size(height);
  return tv_status_none;
}

// The node that the name just read stands for; mentioned for the first time, it comes into being.
tv_status_t NetParser::find_older_node(Node*& node) {
  node = find_node(domain_, lexer_.view());
  if (node) return tv_status_none;
  node = new_node(domain_, tv_category_chance, tv_kind_discrete);
  if (!node) return current_status();
  parsed_.resize(node->number);
  return set_name(*node, lexer_.view());
}

// The name has been read.
tv_status_t NetParser::parse_older_definition() {
  Node* found = nullptr;
  if (tv_status_t status = find_older_node(found)) return status;
  Node& node = *found;
  if (const size_t line = parsed(node).defined_line)
    return fail("node `" + node.name + "' has already been defined (at line " + std::to_string(line) + ")");
  parsed(node).defined_line = lexer_.line();
  NodeList parents;
  if (tv_status_t status = parse_older_parents(node, parents)) return status;
  if (tv_status_t status = add_links(node, parents)) return status;
  const NodeList members = node_table_nodes(node, parents);
  if (tv_status_t status = parse_table(members, TableKind::node, &node, node.table)) return status;
  return parse_older_display(node);
}

// Up to the parenthesis that opens the table.
tv_status_t NetParser::parse_older_parents(Node& node, NodeList& parents) {
  for (;;) {
    const Token token = lexer_.next();
    if (token == punctuation('(')) {
      lexer_.push_back();
      return tv_status_none;
    }
    if (token != Token::name && token != Token::dotted_name)
      return fail("parent node name or a left parenthesis expected");
    Node* parent = nullptr;
    if (tv_status_t status = find_older_node(parent)) return status;
    if (parents.contains(parent))
      return fail("node `" + parent->name + "' appears twice as a parent of `" + node.name + "'");
    if (!parsed(*parent).used_line) parsed(*parent).used_line = lexer_.line();
    parents.push_back(parent);
  }
}

// `[ "label" ] [ x y ]`
tv_status_t NetParser::parse_older_display(Node& node) {
  Token token = lexer_.next();
  if (token == Token::string) {
    node.label = lexer_.text();
    token = lexer_.next();
  }
  lexer_.push_back();
  if (token != Token::number) return tv_status_none;
  double x, y;
  for (double* number : {&x, &y})
    if (!lexer_.read_number(*number)) return fail("number expected");
  node.x = to_coordinate({x * position_scale_, {}});
  node.y = to_coordinate({y * position_scale_, {}});
  return tv_status_none;
}

// A table has shown that a node has so many states.
tv_status_t NetParser::check_older_count(Node& node, size_t count) {
  ParsedNode& known = parsed(node);
  if (known.states_known && count != node.number_of_states)
    return fail("number of states (" + std::to_string(count) + ") does not match previous usage (line " +
                std::to_string(known.states_line) + ")");
  if (!known.states_known) known.states_line = lexer_.line();
  return tv_status_none;
}

tv_status_t NetParser::check_older_nodes() {
  domain_.nodes.reverse();  // the first one in the file is reported
  const Node* missing = nullptr;
  for (const Node& node : domain_.nodes)
    if (!missing && !parsed(node).defined_line) missing = &node;
  domain_.nodes.reverse();
  if (!missing) return tv_status_none;
  return fail("node `" + missing->name + "' (used at line " + std::to_string(parsed(*missing).used_line) +
              ") has not been defined");
}

}  // namespace tv
