// What both formats say about a network, and how it becomes a domain or is read off one.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "formats.h"

namespace formats {

struct Variable {
  std::string name;
  tv_node_category_t category = tv_category_chance;
  std::vector<std::string> states;  // of a utility: none
  std::string label;
  bool is_placed = false;
  long x = 0, y = 0;
  size_t line = 0;
};

struct Definition {
  std::string child;
  std::vector<std::string> parents;
  std::vector<tv_number_t> numbers;  // the first parent slowest, the child fastest; empty: uniform
  size_t line = 0;
};

struct Draft {
  std::string name;
  std::vector<Variable> variables;
  std::vector<Definition> definitions;
  std::unordered_map<std::string, size_t> positions;  // of the variables, by name

  void add(Variable variable);  // Error when there is one of that name
  const Variable* find(const std::string& name_of_variable) const;
  const Variable& expect(const std::string& name_of_variable, size_t line) const;  // or Error
};

// How many numbers the table of a definition has; Error when they are too many to be a table.
size_t table_size(const Draft& draft, const Definition& definition);

DomainOwner build(const Draft& draft);
Draft describe(tv_domain_t* domain);  // Error when a node is neither chance, decision nor utility

// `position = (x, y)` and `label = text`; anything else is let go.
void read_property(std::string_view text, Variable& variable);
std::vector<std::string> properties(const Variable& variable);

std::string number_text(tv_number_t number);
const char* read_number(std::string_view text, tv_number_t& number);  // null, or why there is none

// Without the mark that says that a text is UTF-8, and with line feeds for whatever else ends its lines.
std::string with_plain_lines(std::string_view text);

}  // namespace formats
