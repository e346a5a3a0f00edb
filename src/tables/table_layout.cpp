// Changes of a table's nodes, their order and their states. All of them walk the new table from front to back
// and fetch from the old one along strides; neighbouring dimensions are merged first, so that the inner loops
// are as long as possible. A CG block moves with its configuration.
#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "network/node.h"
#include "tables/host_table.h"
#include "tables/table_numbers.h"
#include "tables/table_operations.h"

namespace tv {
namespace {

// One loop over the new table: its number of iterations and its stride in the old table.
struct Dimension {
  size_t count;
  size_t stride;
};

// Drops loops of a single iteration and merges a loop with the one inside it where their strides continue
// each other.
std::vector<Dimension> simplified(const std::vector<Dimension>& dimensions) {
  std::vector<Dimension> result;
  result.reserve(dimensions.size() + 1);
  for (const Dimension& inner : dimensions) {
    if (inner.count == 1) continue;
    if (!result.empty() && result.back().stride == inner.stride * inner.count)
      result.back() = {result.back().count * inner.count, inner.stride};
    else
      result.push_back(inner);
  }
  if (result.empty()) result.push_back({1, 1});
  return result;
}

// Calls visit(offset, count, stride) for the runs of the old table that make up the new one, in the
// order of the new one.
template <class Visit>
void for_each_run(const std::vector<Dimension>& all_dimensions, Visit visit) {
  std::vector<Dimension> outer = simplified(all_dimensions);
  const Dimension run = outer.back();
  outer.pop_back();
  std::vector<size_t> turns(outer.size(), 0);
  size_t offset = 0;
  for (;;) {
    visit(offset, run.count, run.stride);
    size_t level = outer.size();
    for (; level > 0; --level) {  // the innermost loop that has an iteration left
      const Dimension& dimension = outer[level - 1];
      offset += dimension.stride;
      if (++turns[level - 1] < dimension.count) break;
      offset -= dimension.count * dimension.stride;
      turns[level - 1] = 0;
    }
    if (level == 0) return;
  }
}

template <class T>
void gather(const T* source, T* destination, const std::vector<Dimension>& dimensions) {
  for_each_run(dimensions, [&](size_t offset, size_t count, size_t stride) {
    const T* run = source + offset;
    if (stride == 1)
      std::copy_n(run, count, destination);
    else
      for (size_t i = 0; i < count; ++i) destination[i] = run[i * stride];
    destination += count;
  });
}

// The sizes in which an array over the configurations falls apart at one node: the states of the node,
// the entries in front of them (outer) and behind them (inner).
struct Split {
  size_t outer;
  size_t count;
  size_t inner;
};

Split split_at(const Table& table, const Node* node) noexcept {
  Split split{1, 1, 1};
  bool is_behind = false;
  for (size_t i = 0; i < table.discrete_count; ++i) {
    const size_t count = state_count(table, i);
    if (table.nodes[i] == node) {
      split.count = count;
      is_behind = true;
    } else {
      (is_behind ? split.inner : split.outer) *= count;
    }
  }
  return split;
}

// The same for arrays with `width` numbers per configuration.
Split widened(const Split& split, size_t width) noexcept {
  return {split.outer, split.count, split.inner * width};
}

template <class T>
void permute_states(const T* source, T* destination, const Split& split, const size_t* order) {
  for (size_t outer = 0; outer < split.outer; ++outer, source += split.count * split.inner)
    for (size_t state = 0; state < split.count; ++state, destination += split.inner)
      std::copy_n(source + order[state] * split.inner, split.inner, destination);
}

// The states that both have are copied; the caller has filled the others.
template <class T>
void copy_common_states(const T* source, T* destination, const Split& split, size_t new_count) {
  const size_t common = std::min(split.count, new_count) * split.inner;
  for (size_t outer = 0; outer < split.outer; ++outer) {
    std::copy_n(source, common, destination);
    source += split.count * split.inner;
    destination += new_count * split.inner;
  }
}

// Averages over the states of the node, a strip of neighbouring entries at a time.
template <class T>
void average(const T* source, T* destination, const Split& split) {
  constexpr size_t strip = 128;
  double sums[strip];
  for (size_t outer = 0; outer < split.outer; ++outer, source += split.count * split.inner) {
    for (size_t start = 0; start < split.inner; start += strip) {
      const size_t width = std::min(strip, split.inner - start);
      std::fill_n(sums, width, 0.0);
      for (size_t state = 0; state < split.count; ++state) {
        const T* row = source + state * split.inner + start;
        for (size_t i = 0; i < width; ++i) sums[i] += static_cast<double>(row[i]);
      }
      for (size_t i = 0; i < width; ++i)
        *destination++ = static_cast<T>(sums[i] / static_cast<double>(split.count));
    }
  }
}

// For each entry of a new CG block, its position in the old one; `old_positions` gives those of the
// continuous nodes.
std::vector<size_t> cg_entry_map(const std::vector<size_t>& old_positions) {
  std::vector<size_t> map;
  map.reserve(cg_size_for(old_positions.size()));
  for (size_t i = 0; i < old_positions.size(); ++i) {
    map.push_back(cg_mean_index(old_positions[i]));
    for (size_t j = 0; j <= i; ++j) map.push_back(cg_covariance_index(old_positions[i], old_positions[j]));
  }
  return map;
}

// Fetches whole blocks along `dimensions` (in configurations), each one's entries through `map`.
void gather_blocks(const double* source, size_t source_cg_size, double* destination,
                   const std::vector<Dimension>& dimensions, const std::vector<size_t>& map) {
  if (map.empty()) return;
  for_each_run(dimensions, [&](size_t offset, size_t count, size_t stride) {
    for (size_t i = 0; i < count; ++i) {
      const double* block = source + (offset + i * stride) * source_cg_size;
      for (size_t entry : map) *destination++ = block[entry];
    }
  });
}

// The positions of the continuous nodes among `nodes` in the old table.
std::vector<size_t> old_continuous_positions(const Table& old_table, const NodeList& nodes) {
  std::vector<size_t> positions;
  for (const Node* node : nodes)
    if (!is_discrete(*node)) positions.push_back(old_table.nodes.position(node) - old_table.discrete_count);
  return positions;
}

// The loops over `order` with the strides of the old table.
std::vector<Dimension> dimensions_of(const Table& old_table, const NodeList& order) {
  std::vector<Dimension> dimensions;
  dimensions.reserve(old_table.discrete_count);
  for (size_t i = 0; i < old_table.discrete_count; ++i) {
    const Split split = split_at(old_table, order[i]);
    dimensions.push_back({split.count, split.inner});
  }
  return dimensions;
}

// A record that is to replace `table`: the same identity, no nodes and no data yet.
std::unique_ptr<Table> new_successor(const Table& table) {
  auto successor = std::make_unique<Table>();
  successor->domain = table.domain;
  inherit_identity(*successor, table);
  return successor;
}

// Both arrays for the present sizes, with the contents still to be written.
void allocate_for_overwriting(Table& table) {
  if (!is_within_memory_limit(*table.domain, bytes_of_numbers(table))) throw std::bad_alloc();
  table.data.allocate_uninitialized(table.size);
  if (table.cg_size) table.cg_data.allocate_uninitialized(size_multiply(table.size, table.cg_size));
}

// Permuted numbers on their way back to the blocks they came from: the host may hold pointers to those.
struct Scratch {
  Block<tv_number_t> data;
  Block<double> cg_data;

  explicit Scratch(const Table& table) {
    data.allocate_uninitialized(table.data.size());
    if (table.cg_size) cg_data.allocate_uninitialized(table.cg_data.size());
  }
  void copy_back(Table& table) const noexcept {
    std::copy(data.begin(), data.end(), table.data.begin());
    std::copy(cg_data.begin(), cg_data.end(), table.cg_data.begin());
  }
};

// Repeats the numbers of the old table for each state of its new first node.
template <class T>
void repeat(const Block<T>& source, Block<T>& destination) noexcept {
  for (size_t start = 0; start < destination.size(); start += source.size())
    std::copy_n(source.data(), source.size(), destination.data() + start);
}

// The run of a new tail stands at the end of its block: mean slot, coefficients and variance stay 0.
void append_zero_run(const Table& old_table, Table& table) noexcept {
  std::copy(old_table.data.begin(), old_table.data.end(), table.data.begin());
  double* block = table.cg_data.data();
  for (size_t i = 0; i < table.size; ++i, block += table.cg_size) {
    if (old_table.cg_size)
      std::copy_n(old_table.cg_data.data() + i * old_table.cg_size, old_table.cg_size, block);
    std::fill(block + old_table.cg_size, block + table.cg_size, 0.0);
  }
}

void drop_continuous_data(const Table& old_table, Table& table) {
  const std::vector<size_t> map = cg_entry_map(old_continuous_positions(old_table, table.nodes));
  std::copy(old_table.data.begin(), old_table.data.end(), table.data.begin());
  gather_blocks(old_table.cg_data.data(), old_table.cg_size, table.cg_data.data(), {{table.size, 1}}, map);
}

// Sets the nodes of a table made by new_successor, with the tail marks that they had before.
void set_nodes_and_marks(Table& table, const NodeList& nodes, const Table& old_table) {
  set_table_nodes(table, nodes);
  const std::vector<size_t> positions = old_continuous_positions(old_table, nodes);
  for (size_t i = 0; i < positions.size(); ++i) table.tail_marks[i] = old_table.tail_marks[positions[i]];
}

}  // namespace

void inherit_identity(Table& contents, const Table& table) noexcept {
  contents.number = table.number;
  contents.owner = table.owner;
  contents.kind = table.kind;
  contents.locked = table.locked;
  contents.layout = table.layout + 1;
  contents.user_data = table.user_data;
  contents.materialize = table.materialize;
  contents.materialize_source = table.materialize_source;
}

std::unique_ptr<Table> table_with_parent(const Table& table, Node* parent) {
  auto result = new_successor(table);
  NodeList nodes = table.nodes;
  if (is_discrete(*parent)) nodes.push_front(parent);
  set_nodes_and_marks(*result, nodes, table);
  if (!is_discrete(*parent)) append_table_node(*result, parent, true);
  if (!has_data(table)) return result;
  allocate_for_overwriting(*result);
  if (is_discrete(*parent)) {
    repeat(table.data, result->data);
    if (table.cg_size) repeat(table.cg_data, result->cg_data);
  } else {
    append_zero_run(table, *result);
  }
  return result;
}

std::unique_ptr<Table> table_without_parent(const Table& table, const Node* parent) {
  auto result = new_successor(table);
  NodeList nodes = table.nodes;
  nodes.erase(parent);
  set_nodes_and_marks(*result, nodes, table);
  if (!has_data(table)) return result;
  allocate_for_overwriting(*result);
  if (is_discrete(*parent)) {
    const Split split = split_at(table, parent);
    average(table.data.data(), result->data.data(), split);
    if (table.cg_size) average(table.cg_data.data(), result->cg_data.data(), widened(split, table.cg_size));
  } else {
    drop_continuous_data(table, *result);
  }
  return result;
}

void take_over(Table& table, std::unique_ptr<Table> changed) noexcept {
  table = std::move(*changed);
  note_new_layout(table);
}

tv_status_t permute_table(Table& table, const NodeList& order) {
  NodeList new_order = order;
  std::vector<size_t> own_state_counts = table.own_state_counts;
  for (size_t i = 0; i < own_state_counts.size(); ++i)
    own_state_counts[i] = table.own_state_counts[table.nodes.position(order[i])];
  const std::vector<size_t> positions = old_continuous_positions(table, order);
  std::vector<unsigned char> tail_marks;
  for (size_t position : positions) tail_marks.push_back(table.tail_marks[position]);
  if (has_data(table)) {
    Scratch permuted(table);
    const std::vector<Dimension> dimensions = dimensions_of(table, order);
    gather(table.data.data(), permuted.data.data(), dimensions);
    gather_blocks(table.cg_data.data(), table.cg_size, permuted.cg_data.data(), dimensions,
                  cg_entry_map(positions));
    permuted.copy_back(table);
  }
  table.nodes = std::move(new_order);
  table.tail_marks = std::move(tail_marks);
  table.own_state_counts = std::move(own_state_counts);
  update_table_sizes(table);
  return tv_status_none;
}

tv_status_t permute_table_states(Table& table, const Node* node, const size_t* order) {
  if (!has_data(table)) return tv_status_none;
  Scratch permuted(table);
  const Split split = split_at(table, node);
  permute_states(table.data.data(), permuted.data.data(), split, order);
  if (table.cg_size)
    permute_states(table.cg_data.data(), permuted.cg_data.data(), widened(split, table.cg_size), order);
  permuted.copy_back(table);
  return tv_status_none;
}

std::unique_ptr<Table> table_with_state_count(const Table& table, const Node* node, size_t count,
                                              tv_number_t fill) {
  auto result = new_successor(table);
  set_nodes_and_marks(*result, table.nodes, table);
  result->size = 1;
  for (size_t i = 0; i < table.discrete_count; ++i)
    result->size =
        size_multiply(result->size, table.nodes[i] == node ? count : table.nodes[i]->number_of_states);
  if (!has_data(table)) return result;
  allocate_for_overwriting(*result);
  std::fill(result->data.begin(), result->data.end(), fill);
  fill_with_default_blocks(*result, result->cg_data);
  const Split split = split_at(table, node);
  copy_common_states(table.data.data(), result->data.data(), split, count);
  if (table.cg_size)
    copy_common_states(table.cg_data.data(), result->cg_data.data(), widened(split, table.cg_size), count);
  return result;
}

}  // namespace tv
