#include "inference/compress/find_sparse_tree.h"

#include <algorithm>

#include "api/status.h"
#include "inference/calibrate_tables.h"
#include "inference/compress/table_bytes.h"
#include "inference/schedule/lazy_clique.h"

namespace tv {
namespace {

bool is_whole(const SparseTree& sparse) noexcept {
  return std::all_of(sparse.cliques.begin(), sparse.cliques.end(),
                     [](const auto& clique) { return clique == nullptr; });
}

size_t most_bytes(const JunctionTree& tree) noexcept {
  const size_t limit = tree.domain->memory_limit;
  return limit ? limit : SIZE_MAX;
}

tv_status_t find_tree(const SupportRequest& request, FoundTree& found) {
  TreeSupport support;
  const tv_status_t status = find_support(request, support);
  if (status == tv_status_no_memory)
    return refuse(status, "finding what is possible needs more than the limit, %zu bytes",
                  request.most_bytes);
  if (status) return status;
  found.possible_bytes = bytes_of_rows(request.tree, support);
  const bool is_cut = request.keeps != nullptr;
  found.sparse = may_be_sparse(request.tree) ? make_sparse_tree(request.tree, support, is_cut) : nullptr;
  if (found.sparse && !is_cut && is_whole(*found.sparse)) found.sparse = nullptr;
  return tv_status_none;
}

// Leaves out the entries of an approximated tree that are zero although they agree with its evidence.
class PositiveEntries {
 public:
  explicit PositiveEntries(TreeEngine& engine) : engine_(engine), tables_(engine.cliques.size()) {}

  void read(size_t clique) {
    Block<float>& table = tables_[clique];
    table.allocate_uninitialized(engine_.cliques[clique].table.shape.size);
    const CliqueWork& work = engine_.cliques[clique];
    if (work.lazy)
      run_over_factors(engine_, work, table.data(), nullptr);
    else
      std::copy_n(work.table.numbers, table.size(), table.data());
  }

  static bool keeps(const void* context, size_t clique, const PackedRows& rows, size_t row) {
    return static_cast<const PositiveEntries*>(context)->keeps(clique, rows, row);
  }

 private:
  bool agrees(const Node& node, size_t state) const noexcept {
    const ptrdiff_t propagated = engine_[node].propagated_state;
    if (propagated >= 0) return static_cast<size_t>(propagated) == state;
    return propagated == kNoEvidence || engine_.propagated_finding(node)[state] > 0.0f;
  }

  bool keeps(size_t clique, const PackedRows& rows, size_t row) const {
    const ReducedTable& table = engine_.cliques[clique].table;
    std::vector<size_t> states(table.members->size());
    for (size_t n = 0; n < rows.nodes.size(); ++n) {
      const size_t state = rows.state(row, n);
      if (!agrees(*rows.nodes[n], state)) return true;
      states[table.members->position(rows.nodes[n])] = state;
    }
    const size_t entry = table.sparse ? table.sparse->find(states) : index_of(table, states);
    return entry != kNone && tables_[clique][entry] > 0.0f;
  }

  static size_t index_of(const ReducedTable& table, const std::vector<size_t>& states) noexcept {
    size_t index = 0;
    for (size_t m = 0; m < states.size(); ++m)
      if (table.spans(m)) index = index * table.shape.counts[table.dimension_of[m]] + states[m];
    return index;
  }

  TreeEngine& engine_;
  std::vector<Block<float>> tables_;
};

}  // namespace

tv_status_t find_sparse_tree(const JunctionTree& tree, FoundTree& found) {
  return find_tree({tree, most_bytes(tree)}, found);
}

tv_status_t find_sparse_tree_of(TreeEngine& engine, FoundTree& found) {
  const JunctionTree& tree = *engine.tree;
  if (engine.approximation_constant == 1.0 || !may_be_sparse(tree)) return find_sparse_tree(tree, found);
  if (tv_status_t status = calibrate_tables(engine)) return status;
  refresh_shapes(engine);
  PositiveEntries positive(engine);
  for (size_t c = 0; c < engine.cliques.size(); ++c) positive.read(c);
  return find_tree({tree, most_bytes(tree), PositiveEntries::keeps, &positive}, found);
}

std::shared_ptr<SparseTree> full_sparse_tree(const JunctionTree& tree) {
  auto sparse = std::make_shared<SparseTree>();
  sparse->zeros = zeros_of_potentials(tree);
  sparse->cliques.resize(tree.clique_count());
  sparse->separators.resize(tree.clique_count());
  return sparse;
}

}  // namespace tv
