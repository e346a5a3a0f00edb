// The parser of network descriptions: recursive descent over the tokens of the lexer, building a domain
// through the same operations that a host uses. It stops at the first error, whose message has then been
// reported; a failure of the library itself travels up as its status and is reported once, at the end. Or it
// goes on behind an attribute or an item that is wrong, for as many errors as whoever called wants to hear
// of.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "network/node_operations.h"
#include "text/lexer.h"

namespace tv {

// A number and how it was written: doubles skip integers from 2^53 on.
struct WrittenNumber {
  double value = 0;
  std::string text;
};

// What the parser must know of a node beside its record.
struct ParsedNode {
  bool states_known = false;  // else the first table over the node tells how many there are
  bool is_boolean = false;    // set as its subtype when the block is complete
  bool has_potential = false;
  size_t potential = 0;  // the last potential that names the node, counted from 1

  // In the older language, the lines where the node was first used as a parent, defined, and given states; 0
  // where that is still to come.
  size_t used_line = 0, defined_line = 0, states_line = 0;
};

class NetParser {
 public:
  NetParser(Lexer& lexer, Domain& domain, size_t most_errors = 1) noexcept
      : lexer_(lexer), domain_(domain), most_errors_(most_errors) {
    domain_.links_are_read = true;
  }
  ~NetParser() { domain_.links_are_read = false; }
  NetParser(const NetParser&) = delete;
  NetParser& operator=(const NetParser&) = delete;

  tv_status_t parse();  // a whole description into an empty domain; after errors, the status of the first

  tv_status_t parse_older();  // the same in the older language

  // Nodes and potentials for a domain that has nodes already. After a failure the new nodes are the first of
  // the domain's list, the newest in front, and whoever called takes them out.
  tv_status_t parse_more_nodes();

 private:
  using Keys = std::unordered_set<std::string>;

  // Items of the description (parser.cpp).
  tv_status_t parse_items();
  tv_status_t parse_item(const std::string& keyword);
  tv_status_t complete_tables();
  tv_status_t parse_net();
  tv_status_t parse_net_attribute(const std::string& name);
  tv_status_t parse_interface();

  // Nodes (node_parser.cpp).
  tv_status_t parse_node(tv_node_category_t category, tv_node_kind_t kind);
  tv_status_t parse_node_attribute(Node& node, const std::string& name, Keys& keys);
  tv_status_t parse_states(Node& node, Keys& keys);
  tv_status_t parse_subtype(Node& node);
  tv_status_t parse_state_values(Node& node, Keys& keys);
  tv_status_t parse_state_value(Token first, double& value);

  // Potentials (potential_parser.cpp).
  struct Potential {
    NodeList children;
    NodeList parents;  // as written
    bool has_data = false, has_experience = false, has_fading = false;
    std::unique_ptr<Table> chain_table;  // the data of a chain potential
    bool is_chain() const noexcept { return children.size() > 1; }
    // What the body may speak of: a chain potential has no model, although its nodes may.
    Model* model() const noexcept { return is_chain() ? nullptr : children.front()->model.get(); }
  };
  tv_status_t parse_potential();
  tv_status_t parse_potential_header(Potential& potential);
  tv_status_t find_potential_node(Node*& node);
  tv_status_t parse_body(Potential& potential);
  tv_status_t check_parents(const Node& child, const NodeList& parents);
  tv_status_t check_completeness(const Node& child, const NodeList& parents);
  tv_status_t add_links(Node& child, const NodeList& parents);
  tv_status_t parse_chain_potential(Potential& potential);
  tv_status_t check_chain_nodes(const Potential& potential);
  tv_status_t add_chain_links(const Potential& potential);
  tv_status_t finish_chain_potential(Potential& potential);
  tv_status_t parse_field(const std::string& field, Potential& potential);
  tv_status_t parse_data(Potential& potential);
  tv_status_t parse_experience(Potential& potential);
  tv_status_t parse_fading(Potential& potential);

  // Models (model_parser.cpp).
  tv_status_t check_model_is_allowed(const Potential& potential);
  tv_status_t parse_model_nodes(const Potential& potential);
  tv_status_t parse_model_data(const Potential& potential);
  tv_status_t parse_samples_per_interval(const Potential& potential);

  // Table data (table_parser.cpp).
  struct TableText;
  tv_status_t parse_table(const NodeList& nodes, TableKind kind, Node* owner,
                          std::unique_ptr<Table>& destination);
  tv_status_t parse_table_text(TableText& text, size_t size);
  size_t read_plain_numbers(TableText& text, size_t limit);
  tv_status_t parse_numbers(TableText& text, size_t count);
  tv_status_t parse_open_list(TableText& text);
  tv_status_t parse_nested(TableText& text);
  tv_status_t parse_leaf(TableText& text, bool is_nested);

  // Leaves of the tables of continuous nodes (normal_parser.cpp).
  tv_status_t parse_normal(const NodeList& continuous, std::vector<double>& block);
  tv_status_t parse_mean(const NodeList& continuous, std::vector<double>& block);
  tv_status_t parse_term(double sign, const NodeList& continuous, std::vector<double>& block);

  // The older language (older_language.cpp).
  tv_status_t parse_older_header();
  tv_status_t parse_older_definition();
  tv_status_t parse_older_parents(Node& node, NodeList& parents);
  tv_status_t parse_older_display(Node& node);
  tv_status_t check_older_count(Node& node, size_t count);
  tv_status_t check_older_nodes();
  tv_status_t find_older_node(Node*& node);

  // Going on after errors (recovery.cpp).
  bool goes_on_after(tv_status_t status);
  bool skip_attribute();
  bool skip_item(const std::string& keyword);
  Token next_to_skip();
  tv_status_t fail_silently() noexcept;  // for what follows from an error that has been reported
  bool item_is_broken() const noexcept { return lexer_.error_count() > item_errors_; }

  // Pieces that all of them share (parser.cpp).
  template <class ParseValue>
  tv_status_t parse_block(ParseValue parse_value);
  template <class ParseValue>
  tv_status_t parse_attribute(Token first, ParseValue parse_value);
  tv_status_t expect(char character);
  bool next_is(char character);                  // and leaves the token where it is
  tv_status_t fail(const std::string& message);  // gives `parse`
  bool read_written(WrittenNumber& number);
  tv_status_t parse_pair(WrittenNumber& first, WrittenNumber& second);
  tv_status_t parse_string(std::string& text, const char* message);
  tv_status_t check_new_key(Keys& keys, const std::string& name);
  tv_status_t parse_user_attribute(AttributeList& attributes, const std::string& name);

  ParsedNode& parsed(const Node& node) noexcept { return parsed_[node.number - 1]; }

  Lexer& lexer_;
  Domain& domain_;
  std::vector<ParsedNode> parsed_;  // by node number
  Keys net_keys_;                   // of all `net` blocks together
  AttributeList other_attributes_;  // of `net` blocks that come with further nodes; nobody wants them
  bool adds_nodes_ = false;         // to a domain that has nodes
  size_t old_nodes_ = 0;            // how many it had
  size_t potential_count_ = 0;
  bool is_older_ = false;      // the text is in the older language
  double position_scale_ = 1;  // of its positions

  size_t most_errors_;  // to be reported before the parser gives up
  tv_status_t first_failure_ = tv_status_none;
  size_t told_errors_ = 0;          // how many the lexer had reported after the last failure
  size_t item_errors_ = 0;          // and before the present item
  size_t item_offset_ = 0;          // of what follows its keyword
  bool is_silent_ = false;          // the failure on its way up needs no message
  bool value_is_complete_ = false;  // of an attribute that lacks its semicolon
  bool in_block_ = false;           // of the present item
  bool item_has_ended_ = false;     // with the brace behind its block
  std::string next_keyword_;        // of an item that starts where the one before should have ended
  Keys lost_names_;                 // of nodes whose declarations could not be read
};

// Whether an item of a description can begin with the word.
bool is_keyword(std::string_view word) noexcept;

// Whether a text is in the older language: it starts with a number, or with a name that is no keyword, then
// perhaps more names, and a parenthesis.
bool uses_older_language(std::string_view text) noexcept;

// Whole numbers from doubles; what lies beyond their range is as far away as they get.
size_t to_size(const WrittenNumber& number) noexcept;
long to_coordinate(const WrittenNumber& number) noexcept;

// `{ (NAME = value ;)* }`, the values by `parse_value(name)`.
template <class ParseValue>
tv_status_t NetParser::parse_block(ParseValue parse_value) {
  if (tv_status_t status = expect('{')) return status;
  in_block_ = true;
  for (;;) {
    const Token token = lexer_.next();
    if (token == punctuation('}')) {
      in_block_ = false;
      item_has_ended_ = true;
      return tv_status_none;
    }
    const tv_status_t status = parse_attribute(token, parse_value);
    if (status && !goes_on_after(status)) return status;
    if (status && !skip_attribute()) return fail_silently();
  }
}

template <class ParseValue>
tv_status_t NetParser::parse_attribute(Token first, ParseValue parse_value) {
  if (first != Token::name) return fail("`}' or an attribute name expected");
  const std::string name = lexer_.text();
  if (tv_status_t status = expect('=')) {
    if (is_keyword(name)) next_keyword_ = name;  // perhaps of the next item
    return status;
  }
  if (tv_status_t status = parse_value(name)) return status;
  const tv_status_t status = expect(';');
  value_is_complete_ = status != tv_status_none;
  return status;
}

}  // namespace tv
