// The record of a node: what it is, its links, states, tables, and the evidence entered on it.
// What compilation and propagation keep for a node lives in the compiled forest instead, so that
// it goes when the forest goes.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "network/attribute.h"
#include "network/cases.h"
#include "network/hooks.h"
#include "network/node_list.h"
#include "network/types.h"
#include "tables/table.h"

namespace tv {

inline constexpr ptrdiff_t kNoEvidence = -1;     // evidence index: nothing is known
inline constexpr ptrdiff_t kFindingVector = -2;  // evidence index: the finding vector counts

// What the host has entered on a node since the last propagation.
struct EnteredEvidence {
  ptrdiff_t state = kNoEvidence;     // discrete: a state, kNoEvidence or kFindingVector
  std::vector<tv_number_t> finding;  // discrete: empty until first needed; counts only under kFindingVector
  bool value_flag = false;           // continuous: whether `value` is entered
  double value = 0.0;
};

}  // namespace tv

struct tv_node_s {
  tv::Domain* domain = nullptr;
  tv_node_category_t category = tv_category_chance;
  tv_node_kind_t kind = tv_kind_discrete;
  size_t number = 0;      // 1 to domain->node_count, dense, by order of creation
  bool has_name = false;  // a node may be nameless until its name is asked for
  std::string name;

  tv::NodeList parents;  // discrete parents first, the newest of them in front
  tv::NodeList children;
  tv::NodeList neighbors;  // by undirected links

  size_t number_of_states = 0;  // discrete nodes only
  tv_node_subtype_t subtype = tv_subtype_label;
  std::vector<std::string> state_labels;  // empty, or one per state ("" where none is set)
  std::vector<double> state_values;       // empty until first set, then number_of_states + 1

  std::unique_ptr<tv::Table> table;        // with its numbers; null counts as uniform (utility: zero)
  std::unique_ptr<tv::Table> blank_table;  // asked for without its numbers: becomes `table` with them
  std::unique_ptr<tv::Table> experience_table;
  std::unique_ptr<tv::Table> fading_table;
  bool table_checked = false;              // validated since the table was last touched
  tv::ModelOwner model{nullptr, nullptr};  // states the table by expressions; null for most nodes

  tv::EnteredEvidence entered;
  bool is_required = false;         // among the required instantiations of the domain
  tv::CaseColumn cases;             // observations in the stored cases
  tv::Node* linked_node = nullptr;  // mirrors this node's evidence and answers for its results
  mutable int mark = 0;             // of graph searches; 0 between public calls
  size_t level = 0;                 // of cycle checks: no link leads to a lower one

  std::string label;  // free text for display
  long x = 0, y = 0;  // position for display
  tv::AttributeList attributes;
  void* user_data = nullptr;
  tv_node_s* next = nullptr;  // in the domain's list, newest first
};

namespace tv {

inline bool is_discrete(const Node& node) noexcept { return node.kind == tv_kind_discrete; }
inline bool is_continuous(const Node& node) noexcept { return node.kind == tv_kind_continuous; }
inline bool is_discrete_or_continuous(const Node& node) noexcept { return node.kind >= tv_kind_discrete; }
inline bool is_real_valued_function(const Node& node) noexcept {
  return node.category == tv_category_function && node.kind == tv_kind_other;
}

}  // namespace tv
