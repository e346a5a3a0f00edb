// What a structure is asked for.
#include "learn/structure/graph/structure.h"

#include <algorithm>
#include <memory>

#include "api/boundary.h"

namespace tv {
namespace {

bool has_node(const Structure* structure, size_t node) noexcept {
  if (!check(structure)) return false;
  if (node < structure->nodes.size()) return true;
  refuse(tv_status_usage, "there is no node %zu among %zu", node, structure->nodes.size());
  return false;
}

bool has_pair(const Structure* structure, size_t a, size_t b) noexcept {
  if (!has_node(structure, a) || !has_node(structure, b)) return false;
  if (a != b) return true;
  refuse(tv_status_usage, "the two nodes are the same");
  return false;
}

// A number that all structures have, or all ones.
template <class Number>
size_t size_of(const Structure* structure, Number number) noexcept {
  return check(structure) ? number(*structure) : kNone;
}

}  // namespace
}  // namespace tv

tv_structure_t* tv_structure_clone(const tv_structure_t* structure) {
  return tv::guarded(static_cast<tv_structure_t*>(nullptr), [&]() -> tv_structure_t* {
    return tv::check(structure) ? std::make_unique<tv::Structure>(*structure).release() : nullptr;
  });
}

tv_status_t tv_structure_delete(tv_structure_t* structure) {
  if (!tv::check(structure)) return tv_status_usage;
  delete structure;
  return tv_status_none;
}

int tv_structure_is_finished(const tv_structure_t* structure) {
  return tv::check(structure) ? structure->is_finished : -1;
}

size_t tv_structure_get_number_of_nodes(const tv_structure_t* structure) {
  return tv::size_of(structure, [](const tv::Structure& s) { return s.nodes.size(); });
}

const char* tv_structure_get_node_name(const tv_structure_t* structure, size_t node) {
  return tv::has_node(structure, node) ? structure->nodes[node].name.c_str() : nullptr;
}

size_t tv_structure_get_node_by_name(const tv_structure_t* structure, const char* name) {
  if (!tv::check(structure && name)) return tv::kNone;
  const auto& nodes = structure->nodes;
  const auto found = std::lower_bound(
      nodes.begin(), nodes.end(), name,
      [](const tv::StructureNode& node, const char* sought) { return node.name.compare(sought) < 0; });
  if (found == nodes.end() || found->name != name) return tv::kNone;
  return static_cast<size_t>(found - nodes.begin());
}

size_t tv_structure_get_hidden_states(const tv_structure_t* structure, size_t node) {
  return tv::has_node(structure, node) ? structure->nodes[node].hidden_states : tv::kNone;
}

size_t tv_structure_get_number_of_links(const tv_structure_t* structure) {
  return tv::size_of(structure, [](const tv::Structure& s) { return s.graph.number_of_links(); });
}

tv_structure_link_t tv_structure_get_link(const tv_structure_t* structure, size_t link, size_t* from,
                                          size_t* to) {
  if (!tv::check(structure && from && to)) return tv_structure_link_error;
  const tv::PartialGraph& graph = structure->graph;
  const auto [first, second] = graph.find_link(link);
  if (first == graph.size()) {
    tv::refuse(tv_status_usage, "there is no link %zu among %zu", link, graph.number_of_links());
    return tv_structure_link_error;
  }
  *from = first;
  *to = second;
  return graph.link(first, second);
}

tv_structure_link_t tv_structure_get_link_between(const tv_structure_t* structure, size_t a, size_t b) {
  return tv::has_pair(structure, a, b) ? structure->graph.link(a, b) : tv_structure_link_error;
}

double tv_structure_get_p_value(const tv_structure_t* structure, size_t a, size_t b) {
  if (!tv::has_pair(structure, a, b)) return -1.0;
  const auto& p_values = structure->findings.p_values;
  return p_values.empty() ? -1.0 : std::max(p_values[tv::PairFindings::place(a, b)], -1.0);
}

const size_t* tv_structure_get_separating_set(const tv_structure_t* structure, size_t a, size_t b,
                                              size_t* count) {
  if (!tv::has_pair(structure, a, b) || !tv::check(count)) return nullptr;
  *count = 0;
  const tv::PairFindings& findings = structure->findings;
  const size_t place = tv::PairFindings::place(a, b);
  if (findings.is_separated.empty() || !findings.is_separated[place]) return nullptr;
  static const size_t no_node = tv::kNone;  // the set may be empty, which has no address of its own
  *count = findings.separators[place].size();
  return *count > 0 ? findings.separators[place].data() : &no_node;
}

size_t tv_structure_get_number_of_tests(const tv_structure_t* structure) {
  return tv::size_of(structure, [](const tv::Structure& s) { return s.findings.tests; });
}

size_t tv_structure_get_number_of_refused_tests(const tv_structure_t* structure) {
  return tv::size_of(structure, [](const tv::Structure& s) { return s.findings.refused_tests; });
}

double tv_structure_get_score(const tv_structure_t* structure) {
  return tv::check(structure) ? structure->score.value_or(1.0) : 1.0;
}
