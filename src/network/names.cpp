// Names of nodes: their syntax, the lookup, and automatic names for nodes that were given none.
#include <algorithm>
#include <string>

#include "api/boundary.h"
#include "network/domain.h"
#include "network/name_table.h"
#include "network/node_operations.h"

namespace tv {
namespace {

constexpr size_t kLinearSearchLimit = 10;  // up to this many nodes a lookup walks the node list

bool is_letter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool is_letter_or_digit(char c) noexcept { return is_letter(c) || (c >= '0' && c <= '9'); }

// The table for a lookup in the domain, made or brought to a suitable length; null when the domain is
// small or memory for the table ran out.
NameTable* table_for_lookup(Domain& domain) noexcept {
  if (domain.node_count <= kLinearSearchLimit) return nullptr;
  if (!domain.name_table) {
    domain.name_table = NameTable::build(domain);
  } else if (domain.node_count > 2 * domain.name_table->length()) {
    if (!domain.name_table->grow(domain.node_count)) domain.name_table.reset();
  }
  return domain.name_table.get();
}

char automatic_letter(tv_node_category_t category) noexcept {
  switch (category) {
    case tv_category_function:
      return 'F';
    case tv_category_instance:
      return 'I';
    case tv_category_chance:
      return 'C';
    case tv_category_decision:
      return 'D';
    case tv_category_utility:
      return 'U';
    default:
      return 'X';
  }
}

void store_name(Node& node, std::string& name) noexcept {
  NameTable* table = node.domain->name_table.get();
  if (table && node.has_name) table->erase(node);
  node.name.swap(name);
  node.has_name = true;
  if (table && !table->insert(node)) node.domain->name_table.reset();
}

}  // namespace

tv_status_t _tv_check_name(std::string_view name, bool dots_allowed) noexcept {
  bool component_starts = true, valid = true;
  for (const char c : name) {
    const bool is_dot = dots_allowed && !component_starts && c == '.';
    valid &= is_dot || (component_starts ? is_letter(c) : is_letter_or_digit(c));
    component_starts = is_dot;
  }
  if (valid && !component_starts) return tv_status_none;
  const int length = static_cast<int>(std::min<size_t>(name.size(), 80));
  return refuse(tv_status_invalid_name,
                "\"%.*s\" is no name: letters, digits and underscores, beginning with no digit", length,
                name.data());
}

Node* find_node(Domain& domain, std::string_view name) noexcept {
  if (const NameTable* table = table_for_lookup(domain)) return table->find(name);
  for (Node& node : domain.nodes)
    if (node.has_name && node.name == name) return &node;
  return nullptr;
}

tv_status_t set_name(Node& node, std::string_view name) {
  if (node.has_name && node.name == name) return tv_status_none;
  if (const Node* other = find_node(*node.domain, name))
    return refuse(tv_status_twice, "there is another node \"%s\"", other->name.c_str());
  if (tv_status_t status = _tv_check_name(name, !node.domain->is_class)) return status;
  std::string copy(name);
  store_name(node, copy);
  return tv_status_none;
}

const char* name_of(Node& node) {
  if (!node.has_name) {
    const std::string letter(1, automatic_letter(node.category));
    std::string name = letter + std::to_string(node.number);
    for (size_t counter = node.domain->node_count + 1; find_node(*node.domain, name); ++counter)
      name = letter + std::to_string(counter);
    store_name(node, name);
  }
  return node.name.c_str();
}

}  // namespace tv

tv_status_t tv_node_set_name(tv_node_t* node, const char* name) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(node && name)) return tv_status_usage;
    return tv::set_name(*node, name);
  });
}

const char* tv_node_get_name(tv_node_t* node) {
  return tv::guarded(static_cast<const char*>(nullptr), [&]() -> const char* {
    if (!tv::check(node)) return nullptr;
    return tv::name_of(*node);
  });
}

tv_node_t* tv_domain_get_node_by_name(tv_domain_t* domain, const char* name) {
  if (!tv::check(domain && name)) return nullptr;
  return tv::find_node(*domain, name);
}
