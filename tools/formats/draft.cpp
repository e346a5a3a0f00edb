#include "draft.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <set>

namespace formats {
namespace {

constexpr size_t kLargestTable = size_t{1} << 28;

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

std::string legal_name(const std::string& name, std::set<std::string>& taken) {
  std::string legal;
  for (const char c : name) legal += is_letter(c) || is_digit(c) ? c : '_';
  if (legal.empty() || is_digit(legal[0])) legal.insert(0, "_");
  std::string candidate = legal;
  for (size_t counter = 2; !taken.insert(candidate).second; ++counter)
    candidate = legal + "_" + std::to_string(counter);
  return candidate;
}

void expect(tv_status_t status, size_t line) {
  if (status != tv_status_none) throw Error(line, tv_error_description(static_cast<unsigned>(status)));
}

void expect_made(const void* object, size_t line) {
  if (!object) expect(tv_error_code(), line);
}

tv_node_t* add_node(tv_domain_t* domain, const Variable& variable, const std::string& name) {
  const bool has_states = variable.category != tv_category_utility;
  tv_node_t* node =
      tv_domain_new_node(domain, variable.category, has_states ? tv_kind_discrete : tv_kind_other);
  expect_made(node, variable.line);
  expect(tv_node_set_name(node, name.c_str()), variable.line);
  if (has_states && variable.states.empty())
    throw Error(variable.line, "\"" + variable.name + "\" has no states");
  if (has_states) expect(tv_node_set_number_of_states(node, variable.states.size()), variable.line);
  for (size_t s = 0; s < variable.states.size() && has_states; ++s)
    expect(tv_node_set_state_label(node, s, variable.states[s].c_str()), variable.line);
  const std::string& label =
      !variable.label.empty() || name == variable.name ? variable.label : variable.name;
  expect(tv_node_set_label(node, label.c_str()), variable.line);
  if (variable.is_placed) expect(tv_node_set_position(node, variable.x, variable.y), variable.line);
  return node;
}

void add_definition(const Draft& draft, const Definition& definition,
                    const std::map<std::string, tv_node_t*>& nodes) {
  tv_node_t* const child = nodes.at(definition.child);
  // The newest parent comes first.
  for (size_t i = definition.parents.size(); i-- > 0;) {
    const tv_status_t status = tv_node_add_parent(child, nodes.at(definition.parents[i]));
    if (status != tv_status_none)
      throw Error(definition.line, "the link from \"" + definition.parents[i] + "\" to \"" +
                                       definition.child +
                                       "\": " + tv_error_description(static_cast<unsigned>(status)));
  }
  if (definition.numbers.empty()) return;
  const size_t size = table_size(draft, definition);
  if (definition.numbers.size() != size)
    throw Error(definition.line, "the table of \"" + definition.child + "\" has " +
                                     std::to_string(definition.numbers.size()) + " numbers instead of " +
                                     std::to_string(size));
  tv_table_t* table = tv_node_get_table(child);
  expect_made(table, definition.line);
  tv_number_t* data = tv_table_get_data(table);
  expect_made(data, definition.line);
  std::copy(definition.numbers.begin(), definition.numbers.end(), data);
}

// The state labels of a node, made up where there is none or it is not the only one.
std::vector<std::string> state_names(const tv_node_t* node) {
  std::vector<std::string> names;
  std::map<std::string, int> count;
  const size_t states = tv_node_get_number_of_states(node);
  for (size_t s = 0; s < states; ++s) {
    names.push_back(tv_node_get_state_label(node, s));
    ++count[names.back()];
  }
  for (size_t s = 0; s < states; ++s)
    if (names[s].empty() || count[names[s]] > 1) {
      names[s] = "state" + std::to_string(s);
      while (count[names[s]]++ > 0) names[s] += '_';
    }
  return names;
}

}  // namespace

const Variable* Draft::find(const std::string& name_of_variable) const {
  const auto found = positions.find(name_of_variable);
  return found == positions.end() ? nullptr : &variables[found->second];
}

void Draft::add(Variable variable) {
  if (!positions.emplace(variable.name, variables.size()).second)
    throw Error(variable.line, "there are two variables \"" + variable.name + "\"");
  variables.push_back(std::move(variable));
}

const Variable& Draft::expect(const std::string& name_of_variable, size_t line) const {
  if (const Variable* variable = find(name_of_variable)) return *variable;
  throw Error(line, "there is no variable \"" + name_of_variable + "\"");
}

size_t table_size(const Draft& draft, const Definition& definition) {
  const Variable& child = draft.expect(definition.child, definition.line);
  const auto count_states = [&](const Variable& variable) {
    if (variable.states.empty()) throw Error(definition.line, "\"" + variable.name + "\" has no states");
    return variable.states.size();
  };
  size_t size = child.category == tv_category_utility ? 1 : count_states(child);
  for (const std::string& parent : definition.parents) {
    const size_t states = count_states(draft.expect(parent, definition.line));
    if (size > kLargestTable / states)
      throw Error(definition.line, "the table of \"" + definition.child + "\" is too large");
    size *= states;
  }
  return size;
}

DomainOwner build(const Draft& draft) {
  DomainOwner domain(tv_new_domain());
  expect_made(domain.get(), 0);
  if (!draft.name.empty() && draft.name != "unknown")
    expect(tv_domain_set_attribute(domain.get(), "name", draft.name.c_str()), 0);
  std::set<std::string> taken;
  std::vector<std::string> names;
  for (const Variable& variable : draft.variables) names.push_back(legal_name(variable.name, taken));
  std::map<std::string, tv_node_t*> nodes;
  for (size_t i = draft.variables.size(); i-- > 0;) {  // the newest node stands first
    const Variable& variable = draft.variables[i];
    nodes[variable.name] = add_node(domain.get(), variable, names[i]);
  }
  std::set<std::string> defined;
  for (const Definition& definition : draft.definitions) {
    draft.expect(definition.child, definition.line);
    for (const std::string& parent : definition.parents) draft.expect(parent, definition.line);
    if (!defined.insert(definition.child).second)
      throw Error(definition.line, "\"" + definition.child + "\" is defined twice");
    add_definition(draft, definition, nodes);
  }
  return domain;
}

Draft describe(tv_domain_t* domain) {
  Draft draft;
  if (const char* name = tv_domain_get_attribute(domain, "name")) draft.name = name;
  for (tv_node_t* node = tv_domain_get_first_node(domain); node; node = tv_node_get_next(node)) {
    Variable variable;
    variable.name = tv_node_get_name(node);
    variable.category = tv_node_get_category(node);
    const bool is_discrete = tv_node_get_kind(node) == tv_kind_discrete;
    const bool is_utility = variable.category == tv_category_utility;
    if (!is_utility && (!is_discrete || variable.category == tv_category_function))
      throw Error(0, "node \"" + variable.name + "\" is neither discrete nor a utility");
    if (tv_node_get_model(node) && tv_node_generate_table(node))
      throw Error(0, "node \"" + variable.name + "\": no table can be made of its model");
    if (is_discrete) variable.states = state_names(node);
    variable.label = tv_node_get_label(node);
    tv_node_get_position(node, &variable.x, &variable.y);
    variable.is_placed = variable.x != 0 || variable.y != 0;

    Definition definition;
    definition.child = variable.name;
    tv_table_t* table = tv_node_get_table(node);
    expect_made(table, 0);
    for (tv_node_t** member = tv_table_get_nodes(table); *member; ++member)
      if (*member != node) definition.parents.push_back(tv_node_get_name(*member));
    const tv_number_t* data = tv_table_get_data(table);
    expect_made(data, 0);
    if (variable.category != tv_category_decision)
      definition.numbers.assign(data, data + tv_table_get_size(table));
    draft.add(std::move(variable));
    draft.definitions.push_back(std::move(definition));
  }
  return draft;
}

void read_property(std::string_view text, Variable& variable) {
  const auto trim = [](std::string_view piece) {
    while (!piece.empty() && static_cast<unsigned char>(piece.front()) <= ' ') piece.remove_prefix(1);
    while (!piece.empty() && static_cast<unsigned char>(piece.back()) <= ' ') piece.remove_suffix(1);
    return piece;
  };
  text = text.substr(0, text.find('\0'));  // as far as a label goes
  const size_t equals = text.find('=');
  if (equals == text.npos) return;
  const std::string_view key = trim(text.substr(0, equals)), value = trim(text.substr(equals + 1));
  if (key == "label") variable.label = value;
  if (key != "position") return;
  double numbers[2] = {0, 0};
  size_t next = 0;
  for (double& number : numbers) {
    while (next < value.size() && value[next] != '-' && !is_digit(value[next])) ++next;
    const char* const end = value.data() + value.size();
    const auto result = std::from_chars(value.data() + next, end, number);
    if (result.ec != std::errc() || !(std::fabs(number) < 1e9)) return;
    next = static_cast<size_t>(result.ptr - value.data());
  }
  variable.is_placed = true;
  variable.x = static_cast<long>(numbers[0]);
  variable.y = static_cast<long>(numbers[1]);
}

std::vector<std::string> properties(const Variable& variable) {
  std::vector<std::string> result;
  if (!variable.label.empty()) result.push_back("label = " + variable.label);
  if (variable.is_placed)
    result.push_back("position = (" + std::to_string(variable.x) + ", " + std::to_string(variable.y) + ")");
  return result;
}

std::string number_text(tv_number_t number) {
  char text[40];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

const char* read_number(std::string_view text, tv_number_t& number) {
  constexpr long double beyond_tables = 0x1.ffffffp127L;  // rounds to no number of a table
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);
  long double wide = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, wide);
  const bool fits = result.ec == std::errc();
  if (result.ptr != end || (!fits && result.ec != std::errc::result_out_of_range) || std::isnan(wide) ||
      std::isinf(wide))
    return "number expected";
  if (!fits) wide = text.find("e-") == text.npos && text.find("E-") == text.npos ? beyond_tables : 0;
  if (std::fabs(wide) >= beyond_tables) return "number is too large";
  number = static_cast<tv_number_t>(wide);
  return nullptr;
}

std::string with_plain_lines(std::string_view text) {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  if (text.starts_with(mark)) text.remove_prefix(mark.size());
  std::string plain;
  plain.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const bool is_pair = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
    if (!is_pair) plain += text[i] == '\r' ? '\n' : text[i];
  }
  return plain;
}

}  // namespace formats
