// The record of a table: its nodes and sizes, its numbers (allocated when first needed), and the
// public functions on it. Sizes that do not fit stay kHugeSize: a host sees `size_too_large` when it
// asks for one and `no_memory` when it asks for the numbers.
#include "tables/table.h"

#include <type_traits>
#include <utility>

#include "api/boundary.h"
#include "network/domain.h"
#include "network/node.h"
#include "network/node_operations.h"
#include "tables/host_table.h"
#include "tables/table_operations.h"

namespace tv {

static_assert(std::is_nothrow_move_assignable_v<Table>, "finished work is committed by a move");

std::unique_ptr<Table> new_table(Domain& domain, TableKind kind, Node* owner) {
  auto table = std::make_unique<Table>();
  table->domain = &domain;
  table->owner = owner;
  table->kind = kind;
  table->locked = kind == TableKind::clique || kind == TableKind::separator;
  if (kind != TableKind::free) table->number = ++domain.table_count;
  return table;
}

void set_table_nodes(Table& table, const NodeList& nodes) {
  NodeList new_nodes = nodes;
  const auto count =
      std::count_if(nodes.begin(), nodes.end(), [](Node* node) { return !is_discrete(*node); });
  std::vector<unsigned char> new_tail_marks(static_cast<size_t>(count), 0);
  table.nodes = std::move(new_nodes);
  table.tail_marks = std::move(new_tail_marks);
  table.data.reset();
  table.cg_data.reset();
  update_table_sizes(table);
}

void append_table_node(Table& table, Node* node, bool tail) {
  if (is_discrete(*node)) {
    table.nodes.insert(table.discrete_count, node);
  } else {
    table.tail_marks.reserve(table.tail_marks.size() + 1);
    table.nodes.push_back(node);
    table.tail_marks.push_back(tail);
  }
  update_table_sizes(table);
}

void update_table_sizes(Table& table) noexcept {
  table.discrete_count = 0;
  table.size = 1;
  for (const Node* node : table.nodes) {
    if (!is_discrete(*node)) continue;
    table.size = size_multiply(table.size, state_count(table, table.discrete_count++));
  }
  table.continuous_count = table.nodes.size() - table.discrete_count;
  table.cg_size = cg_size_for(table.continuous_count);
  note_new_layout(table);
}

void note_new_layout(Table& table) noexcept {
  ++table.layout;
  if (table.number) ++table.domain->table_layouts;  // others, among them those of workers, no tree reads
}

std::unique_ptr<Table> clone_table(const Table& table) {
  auto copy = std::make_unique<Table>();
  copy->domain = table.domain;
  copy->nodes = table.nodes;
  copy->discrete_count = table.discrete_count;
  copy->continuous_count = table.continuous_count;
  copy->size = table.size;
  copy->cg_size = table.cg_size;
  copy->tail_marks = table.tail_marks;
  if (has_data(table)) {
    copy->data.allocate_uninitialized(table.data.size());
    std::copy(table.data.begin(), table.data.end(), copy->data.begin());
    if (table.cg_data.data()) {
      copy->cg_data.allocate_uninitialized(table.cg_data.size());
      std::copy(table.cg_data.begin(), table.cg_data.end(), copy->cg_data.begin());
    }
  }
  return copy;
}

namespace {

// Makes the numbers that the host is about to read present and current.
tv_status_t bring_data_up_to_date(Table& table) {
  if (table.materialize) {
    if (tv_status_t status = table.materialize(table)) return status;
  }
  if (tv_status_t status = allocate_table_data(table)) return status;
  if (table.kind == TableKind::node && table.owner) table.owner->domain->hooks->save_potential(*table.owner);
  return tv_status_none;
}

// The position of a node among the continuous nodes of the table; continuous_count when it is none of them.
size_t continuous_position(const Table& table, const Node* node) noexcept {
  if (!node) return table.continuous_count;  // in the list it stands for every deleted node
  const size_t position = table.nodes.position(node);
  return position < table.discrete_count ? table.continuous_count : position - table.discrete_count;
}

bool has_tails(const Table& table) noexcept {
  return std::find(table.tail_marks.begin(), table.tail_marks.end(), 1) != table.tail_marks.end();
}

// Checks what the mean and covariance queries have in common, and gives the block of a configuration
// (null on failure).
const double* cg_block_for_query(Table* table, size_t index, const Node* node1, const Node* node2) {
  if (!check(table && index < table->size && !has_tails(*table) &&
             continuous_position(*table, node1) < table->continuous_count &&
             continuous_position(*table, node2) < table->continuous_count))
    return nullptr;
  if (store_status(bring_data_up_to_date(*table))) return nullptr;
  return table->cg_data.data() + index * table->cg_size;
}

double covariance_query(Table* table, size_t index, const Node* node1, const Node* node2) noexcept {
  return guarded(-1.0, [&] {
    const double* block = cg_block_for_query(table, index, node1, node2);
    if (!block) return -1.0;
    return block[cg_covariance_index(continuous_position(*table, node1), continuous_position(*table, node2))];
  });
}

// Whether the host's list holds exactly the table's nodes, the discrete ones in front.
bool is_table_order(const Table& table, Node* const* order) noexcept {
  size_t count = 0;
  while (count <= table.nodes.size() && order[count]) ++count;
  if (count != table.nodes.size()) return false;
  for (size_t i = 0; i < count; ++i) {
    if (!table.nodes.contains(order[i]) || is_discrete(*order[i]) != (i < table.discrete_count)) return false;
    if (std::find(order, order + i, order[i]) != order + i) return false;
  }
  return true;
}

// Distributions are runs over the states of the node itself: it must stay the fastest one.
bool keeps_owner_last(const Table& table, Node* const* order) noexcept {
  const bool is_distribution = table.kind == TableKind::node && table.discrete_count > 0 &&
                               table.nodes[table.discrete_count - 1] == table.owner;
  return !is_distribution || order[table.discrete_count - 1] == table.owner;
}

tv_status_t reorder_nodes(Table& table, Node* const* order) {
  if (std::equal(table.nodes.begin(), table.nodes.end(), order)) return tv_status_none;
  NodeList new_order;
  new_order.reserve(table.nodes.size());
  for (size_t i = 0; i < table.nodes.size(); ++i) new_order.push_back(order[i]);
  return permute_table(table, new_order);
}

}  // namespace
}  // namespace tv

tv_node_t** tv_table_get_nodes(const tv_table_t* table) {
  return tv::check(table && !tv::has_lost_nodes(*table)) ? table->nodes.terminated() : nullptr;
}

tv_number_t* tv_table_get_data(tv_table_t* table) {
  return tv::guarded(static_cast<tv_number_t*>(nullptr), [&]() -> tv_number_t* {
    if (!tv::check(table)) return nullptr;
    return tv::store_status(tv::bring_data_up_to_date(*table)) ? nullptr : table->data.data();
  });
}

size_t tv_table_get_size(const tv_table_t* table) {
  if (!tv::check(table)) return tv::kNone;
  tv::require(table->size != tv::kHugeSize, tv_status_size_too_large);
  return table->size;
}

size_t tv_table_get_cg_size(const tv_table_t* table) {
  if (!tv::check(table)) return tv::kNone;
  const size_t size = tv::size_multiply(table->size, table->cg_size);
  tv::require(size != tv::kHugeSize, tv_status_size_too_large);
  return size;
}

double tv_table_get_mean(tv_table_t* table, size_t index, tv_node_t* node) {
  return tv::guarded(-1.0, [&] {
    const double* block = tv::cg_block_for_query(table, index, node, node);
    return block ? block[tv::cg_mean_index(tv::continuous_position(*table, node))] : -1.0;
  });
}

double tv_table_get_covariance(tv_table_t* table, size_t index, tv_node_t* node1, tv_node_t* node2) {
  return tv::covariance_query(table, index, node1, node2);
}

double tv_table_get_variance(tv_table_t* table, size_t index, tv_node_t* node) {
  return tv::covariance_query(table, index, node, node);
}

size_t tv_table_get_index_from_configuration(const tv_table_t* table, const size_t* states) {
  if (!tv::check(table && (states || table->discrete_count == 0))) return tv::kNone;
  size_t index = 0;
  for (size_t i = 0; i < table->discrete_count; ++i) {
    const size_t count = tv::state_count(*table, i);
    if (!tv::check(states[i] < count)) return tv::kNone;
    index = index * count + states[i];
  }
  return tv::require(table->size != tv::kHugeSize, tv_status_size_too_large) ? index : tv::kNone;
}

tv_status_t tv_table_get_configuration_from_index(const tv_table_t* table, size_t* states, size_t index) {
  if (!tv::check(table && (states || table->discrete_count == 0) && index < table->size))
    return tv_status_usage;
  for (size_t i = table->discrete_count; i-- > 0;) {
    states[i] = index % tv::state_count(*table, i);
    index /= tv::state_count(*table, i);
  }
  return tv_status_none;
}

tv_status_t tv_table_reorder_nodes(tv_table_t* table, tv_node_t** order) {
  return tv::guarded([&]() -> tv_status_t {
    if (!tv::check(table && order && !(table->number && table->locked) && tv::is_table_order(*table, order) &&
                   tv::keeps_owner_last(*table, order)))
      return tv_status_usage;
    return tv::reorder_nodes(*table, order);
  });
}

tv_status_t tv_table_delete(tv_table_t* table) {
  if (!tv::check(table)) return tv_status_usage;
  if (table->number == 0) {
    tv::delete_host_table(table);
  } else if (table->kind == tv::TableKind::experience) {
    table->owner->experience_table.reset();
  } else if (table->kind == tv::TableKind::fading) {
    table->owner->fading_table.reset();
  }
  return tv_status_none;  // every other table stays with its owner
}

tv_status_t tv_table_set_user_data(tv_table_t* table, void* data) {
  if (!tv::check(table)) return tv_status_usage;
  table->user_data = data;
  return tv_status_none;
}

void* tv_table_get_user_data(const tv_table_t* table) {
  return tv::check(table) ? table->user_data : nullptr;
}
