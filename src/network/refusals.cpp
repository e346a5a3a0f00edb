#include "network/refusals.h"

#include <cstdio>

#include "network/node_operations.h"

namespace tv {

const char* shown_name(const Node& node) noexcept { return node.has_name ? node.name.c_str() : "(unnamed)"; }

void show_state(const Node& node, size_t state, char* text, size_t size) noexcept {
  const char* label = state_label(node, state);
  if (*label)
    std::snprintf(text, size, "%s", label);
  else
    std::snprintf(text, size, "#%zu", state);
}

tv_status_t refuse_for_kind(const Node* node, const char* wanted) noexcept {
  if (!node) return store_status(tv_status_usage);
  const char* category = "chance";
  if (node->category == tv_category_decision) category = "decision";
  if (node->category == tv_category_utility) category = "utility";
  if (node->category == tv_category_function) category = "function";
  const char* kind = node->kind == tv_kind_discrete ? "discrete " : "real-valued ";
  if (node->kind == tv_kind_continuous) kind = "continuous ";
  if (node->category == tv_category_utility) kind = "";
  return refuse(tv_status_usage, "node \"%s\" is a %s%s node, where %s is expected", shown_name(*node), kind,
                category, wanted);
}

tv_status_t refuse_state(const Node* node, size_t state) noexcept {
  if (!node) return store_status(tv_status_usage);
  if (!is_discrete(*node)) return refuse_for_kind(node, "a discrete one");
  if (state < node->number_of_states) return store_status(tv_status_usage);
  return refuse(tv_status_usage, "node \"%s\" has %zu state%s, so there is no state %zu", shown_name(*node),
                node->number_of_states, node->number_of_states == 1 ? "" : "s", state);
}

}  // namespace tv
