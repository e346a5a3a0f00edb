#include "inference/compress/compress_domain.h"

#include <cmath>
#include <utility>

#include "api/boundary.h"
#include "inference/answers/queries.h"
#include "inference/compress/approximate.h"
#include "inference/compress/find_sparse_tree.h"
#include "inference/compress/sparse_engine.h"
#include "inference/compress/table_bytes.h"
#include "inference/memory_need.h"
#include "inference/reset.h"
#include "network/refusals.h"

namespace tv {
namespace {

tv_status_t check_tables_of_nodes(const Domain& domain) noexcept {
  for (const Node& node : domain.nodes)
    if (node.table && node.table->size > UINT32_MAX)
      return refuse(tv_status_table_too_large, "the table of %s has more entries than can be numbered",
                    shown_name(node));
  return tv_status_none;
}

bool all_in_equilibrium(const Domain& domain) noexcept {
  for (const auto& engine : own_state(domain).trees)
    if (engine->equilibrium == tv_equilibrium_none) return false;
  return true;
}

double bytes_of_possible_entries(const Domain& domain) noexcept {
  double bytes = bytes_of_node_tables(domain);
  for (const JunctionTree& tree : domain.forest->trees) bytes += tree.possible_bytes;
  return bytes;
}

// Restores the trees of a domain unless what was begun is finished.
class KeptTrees {
 public:
  explicit KeptTrees(Domain& domain) : domain_(&domain) {
    for (const JunctionTree& tree : domain.forest->trees)
      trees_.push_back({tree.sparse, tree.possible_bytes});
  }
  ~KeptTrees() {
    if (!domain_) return;
    auto kept = trees_.begin();
    for (JunctionTree& tree : domain_->forest->trees) {
      tree.sparse = std::move(kept->sparse);
      tree.possible_bytes = kept->possible_bytes;
      ++kept;
    }
  }
  KeptTrees(const KeptTrees&) = delete;
  KeptTrees& operator=(const KeptTrees&) = delete;
  void dismiss() noexcept { domain_ = nullptr; }

 private:
  struct Tree {
    std::shared_ptr<SparseTree> sparse;
    double possible_bytes;
  };
  Domain* domain_;
  std::vector<Tree> trees_;
};

// Without the copies of tables that a host has asked for.
void reclaim_copies(Domain& domain) noexcept {
  for (const auto& engine : own_state(domain).trees) {
    engine->keep_copy = false;
    engine->copy.reset();
    engine->copied_beliefs = {};
  }
}

tv_status_t compress(Domain& domain, double& ratio) {
  const double before = domain.compressed ? bytes_of_possible_entries(domain) : bytes_of_full_tables(domain);
  if (tv_status_t status = make_engines_sparse(domain)) return status;
  domain.forest->end_queries();
  reclaim_copies(domain);
  domain.compressed = true;
  domain.compiled_bytes = memory_needed(domain);
  ratio = bytes_of_possible_entries(domain) / before;
  return tv_status_none;
}

bool may_be_approximated(const Domain& domain) noexcept {
  for (const auto& engine : own_state(domain).trees)
    if (engine->evidence_to_propagate > 0 || engine->tables_touched || has_new_tables(*engine) ||
        engine->equilibrium != tv_equilibrium_sum ||
        (engine->mode != tv_evidence_normal && engine->evidence_propagated))
      return false;
  return true;
}

tv_status_t prepare_tree(JunctionTree& tree) {
  FoundTree found;
  if (tv_status_t status = find_sparse_tree(tree, found)) return status;
  tree.sparse = std::move(found.sparse);
  tree.possible_bytes = found.possible_bytes;
  return tv_status_none;
}

size_t compressed_memory_need(Domain& domain) {
  if (domain.compressed) return memory_needed(domain);
  if (check_for_compression(domain)) return kNone;
  const KeptTrees kept(domain);
  if (tv_status_t status = prepare_compression(domain)) return store_status(status), kNone;
  return memory_needed(domain);
}

}  // namespace

tv_status_t check_for_compression(const Domain& domain) noexcept {
  if (!domain.required_instantiations.empty())
    return refuse(tv_status_usage, "a network with required selected states cannot be compressed");
  if (!domain.chain_potentials.empty())
    return refuse(tv_status_usage, "a network with undirected links cannot be compressed");
  return tv_status_none;
}

tv_status_t prepare_compression(Domain& domain) {
  KeptTrees kept(domain);
  for (JunctionTree& tree : domain.forest->trees)
    if (tv_status_t status = prepare_tree(tree)) return status;
  kept.dismiss();
  return tv_status_none;
}

void drop_compression(Domain& domain) noexcept {
  domain.compressed = false;
  for (JunctionTree& tree : domain.forest->trees) tree.sparse.reset();
}

}  // namespace tv

double tv_domain_compress(tv_domain_t* domain) {
  return tv::guarded<double>(-1.0, [&]() -> double {
    if (!tv::check(domain) || tv::check_for_compression(*domain)) return -1.0;
    if (!tv::require_compiled(*domain)) return -1.0;
    if (!tv::all_in_equilibrium(*domain)) return tv::refuse_without_equilibrium(), -1.0;
    if (tv::check_tables_of_nodes(*domain)) return -1.0;
    double ratio = 1.0;
    const tv_status_t status = tv::compress(*domain, ratio);
    return tv::require(status == tv_status_none, status) ? ratio : -1.0;
  });
}

int tv_domain_is_compressed(const tv_domain_t* domain) { return tv::check(domain) ? domain->compressed : -1; }

size_t tv_domain_get_compressed_memory_need(tv_domain_t* domain) {
  return tv::guarded<size_t>(tv::kNone, [&]() -> size_t {
    if (!tv::check(domain && tv::is_triangulated(*domain))) return tv::kNone;
    const size_t need = tv::compressed_memory_need(*domain);
    if (need != tv::kNone) tv::require(need != tv::kHugeSize, tv_status_size_too_large);
    return need;
  });
}

double tv_domain_approximate(tv_domain_t* domain, double epsilon) {
  return tv::guarded<double>(-1.0, [&]() -> double {
    if (!tv::check(domain && domain->counters.decision == 0 && epsilon > 0.0 && std::isfinite(epsilon)))
      return -1.0;
    if (!tv::require_compiled(*domain)) return -1.0;
    if (!tv::may_be_approximated(*domain)) {
      tv::refuse(tv_status_usage,
                 "only what is propagated, to sum equilibrium with normal evidence, can be approximated");
      return -1.0;
    }
    const tv_status_t status = tv::approximate(*domain, epsilon);
    return tv::require(status == tv_status_none, status) ? tv::approximation_constant(*domain) : -1.0;
  });
}

double tv_domain_get_approximation_constant(const tv_domain_t* domain) {
  if (!tv::check(domain) || !tv::require_compiled(*domain)) return -1.0;
  return tv::approximation_constant(*domain);
}
