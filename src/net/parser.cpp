// The items of a network description, the domain's own attributes, and the pieces of grammar that nodes
// and potentials share.

#include "net/parser.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "network/node_tables.h"

namespace tv {
namespace {

// What a keyword at the start of an item declares.
struct Declaration {
  const char* keyword;
  tv_node_category_t category;
  tv_node_kind_t kind;
};

constexpr Declaration kDeclarations[] = {
    {"node", tv_category_chance, tv_kind_discrete},
    {"decision", tv_category_decision, tv_kind_discrete},
    {"utility", tv_category_utility, tv_kind_other},
    {"function", tv_category_function, tv_kind_other},
};

const Declaration* find_declaration(std::string_view keyword) {
  for (const Declaration& declaration : kDeclarations)
    if (keyword == declaration.keyword) return &declaration;
  return nullptr;
}

// Whether all of the text is a whole number of the type.
template <class Whole>
bool is_whole(std::string_view text, Whole& number) noexcept {
  if (text.starts_with('+')) text.remove_prefix(1);
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

// All ones stands for no size at all.
size_t to_size(const WrittenNumber& number) noexcept {
  size_t size = 0;
  if (!is_whole(number.text, size))
    size = number.value < 0x1p64 ? static_cast<size_t>(number.value) : kHugeSize;
  return std::min(size, kHugeSize - 1);
}

long to_coordinate(const WrittenNumber& number) noexcept {
  long coordinate = 0;
  if (is_whole(number.text, coordinate)) return coordinate;
  if (number.value >= 0x1p63) return std::numeric_limits<long>::max();
  return number.value < -0x1p63 ? std::numeric_limits<long>::min() : static_cast<long>(number.value);
}

bool NetParser::read_written(WrittenNumber& number) {
  if (!lexer_.read_number(number.value)) return false;
  number.text = lexer_.number_text();
  return true;
}

tv_status_t NetParser::fail(const std::string& message) {
  // The lexer has reported its own troubles, and knows their status.
  if (lexer_.status()) return lexer_.status();
  lexer_.report_error(message.c_str());
  return tv_status_parse;
}

tv_status_t NetParser::expect(char character) {
  if (lexer_.next() == punctuation(character)) return tv_status_none;
  return fail(std::string("`") + character + "' expected");
}

bool NetParser::next_is(char character) {
  const Token token = lexer_.next();
  lexer_.push_back();
  return token == punctuation(character);
}

// `( number number )`
tv_status_t NetParser::parse_pair(WrittenNumber& first, WrittenNumber& second) {
  if (tv_status_t status = expect('(')) return status;
  for (WrittenNumber* number : {&first, &second})
    if (!read_written(*number)) return fail("number expected");
  return expect(')');
}

tv_status_t NetParser::parse_string(std::string& text, const char* message) {
  if (lexer_.next() != Token::string) return fail(message);
  text = lexer_.text();
  return tv_status_none;
}

tv_status_t NetParser::check_new_key(Keys& keys, const std::string& name) {
  if (keys.insert(name).second) return tv_status_none;
  return fail("attribute `" + name + "' defined twice");
}

// The key is known to be new and, as a name token, to be well formed. Attributes come out newest first;
// the list is turned round when the block is complete.
tv_status_t NetParser::parse_user_attribute(AttributeList& attributes, const std::string& name) {
  auto attribute = std::make_unique<Attribute>();
  attribute->key = name;
  constexpr const char* message = "value of a user-defined attribute must be a string";
  if (tv_status_t status = parse_string(attribute->value, message)) return status;
  attributes.push_front(std::move(attribute));
  return tv_status_none;
}

tv_status_t NetParser::parse() {
  if (tv_status_t status = parse_items()) return status;
  domain_.nodes.reverse();
  domain_.attributes.reverse();
  return tv_status_none;
}

tv_status_t NetParser::parse_more_nodes() {
  adds_nodes_ = true;
  // What is there already has its states, and its links are nobody else's business.
  old_nodes_ = domain_.node_count;
  parsed_.assign(old_nodes_, ParsedNode{true, false, true, 0});
  return parse_items();
}

tv_status_t NetParser::parse_items() {
  for (;;) {
    std::string keyword = std::exchange(next_keyword_, {});
    const Token token = keyword.empty() ? lexer_.next() : Token::name;
    if (token == Token::end) return first_failure_ ? first_failure_ : complete_tables();
    if (keyword.empty() && token == Token::name) keyword = lexer_.text();
    item_errors_ = lexer_.error_count();
    item_offset_ = lexer_.offset();
    in_block_ = item_has_ended_ = false;
    const tv_status_t status = token == Token::name ? parse_item(keyword) : fail("unexpected token");
    if (status && !(goes_on_after(status) && skip_item(keyword))) return first_failure_;
  }
}

// What was learned about a table is nothing without the table.
tv_status_t NetParser::complete_tables() {
  for (Node& node : domain_.nodes)
    if (!own_table(node) && (node.experience_table || node.fading_table) && !table_of(node))
      return current_status();
  return tv_status_none;
}

// The item's first word has been read.
tv_status_t NetParser::parse_item(const std::string& keyword) {
  if (keyword == "net") return parse_net();
  if (keyword == "potential") return parse_potential();
  if (keyword == "continuous") {
    if (lexer_.next() != Token::name || lexer_.view() != "node") return fail("keyword `node' expected");
    return parse_node(tv_category_chance, tv_kind_continuous);
  }
  if (keyword == "discrete") {
    const Declaration* declaration = lexer_.next() == Token::name ? find_declaration(lexer_.view()) : nullptr;
    if (!declaration || declaration->category == tv_category_utility)
      return fail("keyword `node', `decision', or `function' expected");
    return parse_node(declaration->category, tv_kind_discrete);
  }
  const Declaration* declaration = find_declaration(keyword);
  if (!declaration) return fail("unknown object type: " + keyword);
  return parse_node(declaration->category, declaration->kind);
}

tv_status_t NetParser::parse_net() {
  return parse_block([this](const std::string& name) { return parse_net_attribute(name); });
}

tv_status_t NetParser::parse_net_attribute(const std::string& name) {
  if (tv_status_t status = check_new_key(net_keys_, name)) return status;
  if (name == "inputs" || name == "outputs") return parse_interface();
  if (name != "node_size")
    return parse_user_attribute(adds_nodes_ ? other_attributes_ : domain_.attributes, name);
  WrittenNumber width, height;
  if (tv_status_t status = parse_pair(width, height)) return status;
  if (width.value < 0 || height.value < 0) return fail("<number> must be nonnegative");
  if (adds_nodes_) return tv_status_none;
  domain_.node_width = to_size(width);
  domain_.node_height = to_size(height);
  return tv_status_none;
}

// `( name* )`: only a class has an interface, so a domain reads it and lets it go.
tv_status_t NetParser::parse_interface() {
  if (tv_status_t status = expect('(')) return status;
  for (;;) {
    const Token token = lexer_.next();
    if (token == punctuation(')')) return tv_status_none;
    if (token != Token::name && token != Token::dotted_name) return fail("node name or `)' expected");
  }
}

}  // namespace tv
