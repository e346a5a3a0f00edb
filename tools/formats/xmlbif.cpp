// XMLBIF 0.3. Tables list the given variables first, then the variable itself, the last one fastest.
#include <algorithm>
#include <pugixml.hpp>
#include <sstream>

#include "draft.h"

namespace formats {
namespace {

constexpr struct {
  const char* name;
  tv_node_category_t category;
} kTypes[] = {
    {"nature", tv_category_chance}, {"decision", tv_category_decision}, {"utility", tv_category_utility}};

class XmlbifReader {
 public:
  explicit XmlbifReader(std::string_view text) : text_(text) {}

  Draft read() {
    const pugi::xml_parse_result result = document_.load_buffer(text_.data(), text_.size());
    if (!result) throw Error(line_at(result.offset), result.description());
    const pugi::xml_node network = document_.child("BIF").child("NETWORK");
    if (!network) throw Error(1, "there is no <NETWORK> in a <BIF>");
    Draft draft;
    draft.name = network.child_value("NAME");
    for (const pugi::xml_node element : network.children("VARIABLE")) read_variable(element, draft);
    for (const pugi::xml_node element : network.children("DEFINITION")) read_definition(element, draft);
    return draft;
  }

 private:
  size_t line_at(ptrdiff_t offset) const {
    const size_t end = std::min(static_cast<size_t>(std::max<ptrdiff_t>(offset, 0)), text_.size());
    return 1 +
           static_cast<size_t>(std::count(text_.begin(), text_.begin() + static_cast<ptrdiff_t>(end), '\n'));
  }
  size_t line_of(const pugi::xml_node& element) const { return line_at(element.offset_debug()); }

  // All text of an element, also around comments.
  static std::string text_of(const pugi::xml_node& element) {
    std::string text;
    for (const pugi::xml_node child : element.children())
      if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) text += child.value();
    return text;
  }

  void read_variable(const pugi::xml_node& element, Draft& draft) const {
    Variable variable;
    variable.line = line_of(element);
    variable.name = element.child_value("NAME");
    if (variable.name.empty()) throw Error(variable.line, "a <VARIABLE> has no <NAME>");
    const std::string_view type = element.attribute("TYPE").as_string("nature");
    const auto known =
        std::find_if(std::begin(kTypes), std::end(kTypes), [&](const auto& one) { return type == one.name; });
    if (known == std::end(kTypes)) throw Error(variable.line, "unknown type \"" + std::string(type) + "\"");
    variable.category = known->category;
    for (const pugi::xml_node outcome : element.children("OUTCOME"))
      variable.states.push_back(text_of(outcome));
    if (variable.category == tv_category_utility) variable.states.clear();
    for (const pugi::xml_node property : element.children("PROPERTY"))
      read_property(text_of(property), variable);
    draft.add(std::move(variable));
  }

  void read_definition(const pugi::xml_node& element, Draft& draft) const {
    Definition definition;
    definition.line = line_of(element);
    definition.child = element.child_value("FOR");
    for (const pugi::xml_node given : element.children("GIVEN")) definition.parents.push_back(text_of(given));
    const size_t size = table_size(draft, definition);
    std::istringstream table(text_of(element.child("TABLE")));
    for (std::string word; table >> word;) {
      tv_number_t number = 0;
      if (const char* message = read_number(word, number))
        throw Error(definition.line,
                    std::string(message) + ": \"" + word + "\" in the table of \"" + definition.child + "\"");
      if (number < 0 && draft.expect(definition.child, definition.line).category != tv_category_utility)
        throw Error(definition.line, "the table of \"" + definition.child + "\" has a negative number");
      if (definition.numbers.size() == size)
        throw Error(definition.line, "the table of \"" + definition.child + "\" has too many numbers");
      definition.numbers.push_back(number);
    }
    draft.definitions.push_back(std::move(definition));
  }

  std::string_view text_;
  pugi::xml_document document_;
};

void add_text(pugi::xml_node parent, const char* name, const std::string& text) {
  parent.append_child(name).append_child(pugi::node_pcdata).set_value(text.c_str());
}

std::string type_name(tv_node_category_t category) {
  for (const auto& type : kTypes)
    if (type.category == category) return type.name;
  return "nature";
}

void write_definition(pugi::xml_node network, const Definition& definition) {
  pugi::xml_node element = network.append_child("DEFINITION");
  add_text(element, "FOR", definition.child);
  for (const std::string& parent : definition.parents) add_text(element, "GIVEN", parent);
  std::string numbers;
  for (const tv_number_t number : definition.numbers)
    numbers += (numbers.empty() ? "" : " ") + number_text(number);
  if (!numbers.empty()) add_text(element, "TABLE", numbers);
}

}  // namespace

DomainOwner read_xmlbif(std::string_view text) { return build(XmlbifReader(with_plain_lines(text)).read()); }

std::string write_xmlbif(tv_domain_t* domain) {
  const Draft draft = describe(domain);
  pugi::xml_document document;
  pugi::xml_node root = document.append_child("BIF");
  root.append_attribute("VERSION") = "0.3";
  pugi::xml_node network = root.append_child("NETWORK");
  add_text(network, "NAME", draft.name.empty() ? "unknown" : draft.name);
  for (const Variable& variable : draft.variables) {
    pugi::xml_node element = network.append_child("VARIABLE");
    element.append_attribute("TYPE") = type_name(variable.category).c_str();
    add_text(element, "NAME", variable.name);
    for (const std::string& state : variable.states) add_text(element, "OUTCOME", state);
    for (const std::string& property : properties(variable)) add_text(element, "PROPERTY", property);
  }
  for (const Definition& definition : draft.definitions) write_definition(network, definition);
  std::ostringstream text;
  document.save(text, "  ");
  return text.str();
}

}  // namespace formats
