// Upwards the rows of each clique are joined from its potentials and from what its children leave possible;
// then downwards each clique keeps what its parent has kept. In a tree this makes all of them consistent
// (Bernstein and Chiu 1981; Yannakakis 1981).
#include "inference/compress/support.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "inference/compress/join_rows.h"
#include "network/progress.h"
#include "tables/limits.h"

namespace tv {
namespace {

std::vector<const Node*> discrete_nodes(const NodeList& members) {
  std::vector<const Node*> nodes;
  for (const Node* member : members)
    if (is_discrete(*member)) nodes.push_back(member);
  return nodes;
}

std::vector<const Node*> nodes_of_rows(const Clique& clique) {
  std::vector<const Node*> nodes;
  const Separator* const separator = clique.parent_separator.get();
  if (separator) nodes = discrete_nodes(separator->members);
  for (const Node* member : clique.members())
    if (is_discrete(*member) && !(separator && separator->members.contains(member))) nodes.push_back(member);
  return nodes;
}

// The entries above zero. Continuous nodes of the table have no numbers of their own among them.
PackedRows possible_rows(const Table& table) {
  PackedRows rows = lay_out_rows(discrete_nodes(table.nodes));
  std::vector<size_t> states(rows.nodes.size(), 0);
  std::vector<uint64_t> key(rows.words, 0);
  for (const tv_number_t number : table.data) {
    if (number > 0) rows.keys.insert(rows.keys.end(), key.begin(), key.end());
    for (size_t node = states.size(); node-- > 0;) {
      const PackedRows::Field& field = rows.fields[node];
      key[field.word] &= ~(field.mask << field.shift);
      if (++states[node] < rows.nodes[node]->number_of_states) {
        PackedRows::set_state(key.data(), field, states[node]);
        break;
      }
      states[node] = 0;
    }
  }
  return rows;
}

// Null where the node has none that could.
const Table* forbidding_table(const Node& node) noexcept {
  const bool is_free = node.category != tv_category_chance || !is_discrete(node) || !node.table;
  return is_free || !has_data(*node.table) ? nullptr : node.table.get();
}

constexpr size_t kMostNodes = 1000;  // of a clique and a detour; more of them take long to put in order

constexpr size_t kStride = 61;  // prime, so that states of a node do not recur at its multiples

size_t bytes_of(const PackedRows& rows) noexcept { return rows.keys.size() * sizeof(uint64_t); }

class SupportFinder {
 public:
  explicit SupportFinder(const SupportRequest& request)
      : request_(request),
        count_(request.tree.clique_count()),
        progress_(*request.tree.domain, "compression", 2 * count_) {
    found_.cliques.resize(count_);
    found_.separators.resize(count_);
  }

  tv_status_t run() {
    for (size_t clique = count_; clique-- > 0;) {
      if (tv_status_t status = progress_.advance()) return status;
      if (tv_status_t status = collect(*request_.tree.cliques[clique])) return status;
    }
    for (size_t clique = 0; clique < count_; ++clique) {
      if (tv_status_t status = progress_.advance()) return status;
      if (request_.tree.cliques[clique]->parent) distribute_to(*request_.tree.cliques[clique]);
    }
    return tv_status_none;
  }

  TreeSupport take() noexcept { return std::move(found_); }

 private:
  tv_status_t collect(const Clique& clique) {
    PackedRows& rows = found_.cliques[clique.position];
    rows = lay_out_rows(nodes_of_rows(clique));
    if (tv_status_t status = join(clique, rows)) return status;
    if (request_.keeps)
      filter_rows(rows,
                  [&](size_t row) { return request_.keeps(request_.context, clique.position, rows, row); });
    PackedRows& separator = found_.separators[clique.position];
    if (clique.parent)
      separator = leading_rows(rows, discrete_nodes(clique.parent_separator->members).size());
    bytes_ += bytes_of(rows) + bytes_of(separator);
    return bytes_ > request_.most_bytes ? tv_status_no_memory : tv_status_none;
  }

  tv_status_t join(const Clique& clique, PackedRows& rows) {
    const bool is_wide = full_size(rows.nodes) > limits.walked_rows;
    std::vector<PackedRows> potentials;
    if (!is_wide)
      for (const Node* node : clique.potentials)
        if (const Table* table = forbidding_table(*node)) potentials.push_back(possible_rows(*table));
    for (const Table* table : clique.more_potentials)
      if (has_data(*table)) potentials.push_back(possible_rows(*table));
    JoinRequest request{{}, most_rows(rows), progress_};
    for (const PackedRows& potential : potentials) request.relations.push_back(&potential);
    for (const Link& link : clique.links)
      if (link.neighbor != clique.parent)
        request.relations.push_back(&found_.separators[link.neighbor->position]);
    Detour detour;
    if (is_wide) detour = add_node_tables(rows.nodes, request.relations);
    return join_rows(request, detour, rows);
  }

  size_t most_rows(const PackedRows& rows) const noexcept {
    return std::min<size_t>((request_.most_bytes - bytes_) / (rows.words * sizeof(uint64_t)), UINT32_MAX - 1);
  }

  // The tables of a clique's nodes forbid configurations also where they were assigned to other cliques.
  // Those over its own nodes join the relations; the others make a detour to the ancestors, as many nodes may
  // follow from a few that are elsewhere.
  Detour add_node_tables(const std::vector<const Node*>& nodes, std::vector<const PackedRows*>& relations) {
    enum : char { absent, member, ancestor };
    std::vector<char> roles(request_.tree.domain->node_count, absent);
    const auto role = [&](const Node* node) -> char& { return roles[node->number - 1]; };
    for (const Node* node : nodes) role(node) = member;
    Detour detour;
    std::vector<const Node*> all = nodes;
    for (size_t i = 0; i < all.size(); ++i) {
      const PackedRows* const rows = possible_rows_of(*all[i]);
      if (!rows) continue;
      bool is_inside = true;
      for (const Node* node : rows->nodes) {
        is_inside &= role(node) == member;
        if (role(node) != absent) continue;
        role(node) = ancestor;
        all.push_back(node);
      }
      (is_inside ? relations : detour.relations).push_back(rows);
    }
    if (all.size() > kMostNodes) return {};
    detour.nodes.assign(all.begin() + static_cast<ptrdiff_t>(nodes.size()), all.end());
    return detour;
  }

  // Of the node's own table; null where it forbids nothing.
  const PackedRows* possible_rows_of(const Node& node) {
    const Table* const table = forbidding_table(node);
    if (!table) return nullptr;
    if (tables_.empty()) tables_.resize(request_.tree.domain->node_count);
    std::unique_ptr<PackedRows>& rows = tables_[node.number - 1];
    if (!rows) rows = std::make_unique<PackedRows>(possible_rows(*table));
    return rows->size() < table->size ? rows.get() : nullptr;
  }

  void distribute_to(const Clique& clique) {
    PackedRows& separator = found_.separators[clique.position];
    const std::vector<bool> kept = rows_of_parent(clique, separator);
    if (std::find(kept.begin(), kept.end(), false) == kept.end()) return;
    PackedRows& rows = found_.cliques[clique.position];
    const std::vector<uint32_t> positions = positions_in(rows, separator);
    filter_rows(rows, [&](size_t row) -> bool { return kept[positions[row]]; });
    filter_rows(separator, [&](size_t row) -> bool { return kept[row]; });
  }

  // For each row of the separator whether some row of the parent has it. A few of the parent's rows often
  // show it of all.
  std::vector<bool> rows_of_parent(const Clique& clique, const PackedRows& separator) const {
    const PackedRows& parent = found_.cliques[clique.parent->position];
    std::vector<bool> found(separator.size(), false);
    size_t missing = found.size();
    const RowProjection projection(parent, separator);
    const RowIndex index(separator);
    std::vector<uint64_t> key(separator.words);
    for (const size_t stride : {kStride, size_t{1}})
      for (size_t row = 0; row < parent.size() && missing > 0; row += stride) {
        if (row >= stride && projection.agree(parent.row(row - stride), parent.row(row))) continue;
        projection.project(parent.row(row), key.data());
        const uint32_t place = index.find(key.data());
        missing -= !found[place];
        found[place] = true;
      }
    return found;
  }

  const SupportRequest& request_;
  size_t count_;  // of cliques
  ProgressMeter progress_;
  TreeSupport found_;
  size_t bytes_ = 0;
  std::vector<std::unique_ptr<PackedRows>> tables_;  // of nodes in wide cliques, by their number
};

}  // namespace

tv_status_t find_support(const SupportRequest& request, TreeSupport& support) {
  SupportFinder finder(request);
  if (tv_status_t status = finder.run()) return status;
  support = finder.take();
  return tv_status_none;
}

}  // namespace tv
