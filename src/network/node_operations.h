// What can be done with domains and nodes, for the public functions and for everything in the library
// that builds networks (the parser above all). Handles have been checked by the caller; the rules of
// the model are checked here, and a refused or failed operation leaves the domain as it was.
#pragma once

#include <memory>
#include <string_view>

#include "network/domain.h"
#include "network/node.h"

namespace tv {

// ---- Creating, copying, deleting ----

// Null with `usage` for an instance node or an unknown category, `cg_limids_not_supported` or
// `cyclic_functional_dependency`. A utility node gets kind other whatever is asked for. A boolean node
// starts with two states, every other discrete node with one. Becomes the head of the node list.
Node* new_node(Domain& domain, tv_node_category_t category, tv_node_kind_t kind,
               tv_node_subtype_t subtype = tv_subtype_label);

// Numbers and counts a finished node without children and makes it the head of the node list.
Node& enlist_node(Domain& domain, std::unique_ptr<Node> node) noexcept;

// Children lose the node as a parent (their tables are averaged over its states).
tv_status_t delete_node(Node& node);

Node* clone_node(Node& node);
std::unique_ptr<Domain> clone_domain(const Domain& domain);

// ---- Names ----

// `none` or `invalid_name`; components of letters, digits and "_" that start with no digit, joined by
// single dots where dots are allowed. Plain ASCII, whatever the locale.
tv_status_t _tv_check_name(std::string_view name, bool dots_allowed) noexcept;

tv_status_t set_name(Node& node, std::string_view name);          // `twice`, `invalid_name`
Node* find_node(Domain& domain, std::string_view name) noexcept;  // null when there is none

// Gives the node an automatic name when it has none.
const char* name_of(Node& node);

// ---- Category, subtype, states ----

tv_status_t set_category(Node& node, tv_node_category_t category);
tv_status_t set_subtype(Node& node, tv_node_subtype_t subtype);  // boolean needs exactly two states

// Of a discrete node that is not boolean; retracts the node's findings and resizes the tables of the
// node and of its children. `no_memory` when one of them cannot be represented.
tv_status_t set_number_of_states(Node& node, size_t count);

// New state i is what state order[i] was; `usage` unless `order` is a permutation.
tv_status_t reorder_states(Node& node, const size_t* order);

// The node is discrete and `state` one of its states.
void set_state_label(Node& node, size_t state, std::string_view label);
const char* state_label(const Node& node, size_t state) noexcept;

// The node is of subtype number or interval; an interval node of n states has the bounds 0 to n.
tv_status_t set_state_value(Node& node, size_t state, double value);  // `usage` for NaN, and for infinities
                                                                      // except as an outer bound
double state_value(const Node& node, size_t state) noexcept;

// ---- Tables of nodes, created on demand ----

// Chance and decision: uniform (continuous: mean 0, coefficients 0, variance 1); utility: zero. The
// node list is that of the discrete parents in parent order, the discrete node itself, or the
// continuous node itself followed by its continuous parents as tails. Null with `usage` for a function
// node of kind other, and with `no_memory`.
Table* table_of(Node& node);  // without its numbers, when nobody has asked for them

// The same with its numbers; the node is discrete or continuous, or a utility node.
Table* filled_node_table(Node& node);

// Over the discrete parents alone: experience counts (chance nodes), 0 at first, and fading factors
// (discrete chance nodes), 1 at first. Null with `usage` for other nodes.
Table* experience_table_of(Node& node);
Table* fading_table_of(Node& node);

}  // namespace tv
