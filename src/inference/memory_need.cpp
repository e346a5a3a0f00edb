// Adding up, array by array, what the engines of a domain will hold: it follows engine.cpp, and a test holds
// it against the bytes that are really asked for. Large tables need little but their numbers; in networks of
// many small cliques most of it is plans.

#include "inference/memory_need.h"

#include <algorithm>

#include "api/boundary.h"
#include "inference/cg_engine.h"
#include "inference/factored.h"
#include "inference/tape_cache.h"
#include "inference/utility_engine.h"

namespace tv {
namespace {

// A sum of bytes that never wraps.
class Bytes {
 public:
  template <class T>
  void add(size_t count) noexcept {
    total_ = size_add(total_, size_multiply(count, sizeof(T)));
  }
  size_t total() const noexcept { return total_; }

 private:
  size_t total_ = 0;
};

// The members whose belief is read from a table, and the states that they have together.
struct Beliefs {
  size_t count = 0;
  size_t states = 0;
};

template <class Reads>
Beliefs beliefs_of(const NodeList& members, Reads reads) noexcept {
  Beliefs beliefs;
  for (const Node* node : members) {
    if (!reads(compiled(*node).belief_source)) continue;
    ++beliefs.count;
    beliefs.states = size_add(beliefs.states, node->number_of_states);
  }
  return beliefs;
}

Beliefs beliefs_of(const Clique& clique) noexcept {
  return beliefs_of(clique.members(), [&](const BeliefSource& source) {
    return !source.separator && source.clique == &clique;
  });
}

Beliefs beliefs_of(const Separator& separator) noexcept {
  return beliefs_of(separator.members,
                    [&](const BeliefSource& source) { return source.separator == &separator; });
}

// What the working memory of a tree is measured by: the largest of its cliques in several respects.
struct Extents {
  size_t separator_size = 1;  // of the largest separator
  size_t separators_sum = 1;  // of all separators around one clique
  size_t belief_states = 1;   // of all beliefs that one table gives
  size_t clique_size = 1;     // of the largest clique
};

void add_restricted_table(Bytes& bytes, const NodeList& members, size_t size) noexcept {
  bytes.add<float>(size);
  bytes.add<unsigned char>(members.size());  // fixed
  bytes.add<size_t>(members.size());         // counts
  bytes.add<uint32_t>(members.size());       // dimensions
}

void add_separator(Bytes& bytes, Extents& extents, const Separator& separator) noexcept {
  add_restricted_table(bytes, separator.members, separator.size);
  bytes.add<float>(separator.size);  // the ratio
  const Beliefs beliefs = beliefs_of(separator);
  bytes.add<BeliefPlan>(beliefs.count);
  extents.belief_states = std::max(extents.belief_states, beliefs.states);
}

void add_clique(Bytes& bytes, Extents& extents, const Clique& clique) noexcept {
  const size_t members = clique.members().size();
  const size_t potentials = clique.potential_count(), links = clique.links.size();
  const Beliefs beliefs = beliefs_of(clique);
  add_restricted_table(bytes, clique.members(),
                       prefers_factors(clique) ? factor_entries(clique) : clique.table.size);
  bytes.add<PotentialPlan>(potentials);
  bytes.add<LinkPlan>(links);
  bytes.add<BeliefPlan>(beliefs.count);
  bytes.add<size_t>(potentials * members);     // strides
  bytes.add<uint32_t>((links + 1) * members);  // members of separators, findings
  if (clique.parent_separator) add_separator(bytes, extents, *clique.parent_separator);

  size_t around = 0;
  for (const Link& link : clique.links) {
    around = size_add(around, link.separator->size);
    extents.separator_size = std::max(extents.separator_size, link.separator->size);
  }
  extents.separators_sum = std::max(extents.separators_sum, around);
  extents.clique_size = std::max(extents.clique_size, clique.table.size);
  extents.belief_states = std::max(extents.belief_states, beliefs.states);
}

void add_engine(Bytes& bytes, const JunctionTree& tree) noexcept {
  const size_t cliques = tree.clique_count();
  Extents extents;
  for (size_t c = 0; c < cliques; ++c) add_clique(bytes, extents, *tree.cliques[c]);
  bytes.add<TreeEngine>(1);
  bytes.add<CliqueWork>(cliques);
  bytes.add<SeparatorWork>(cliques);
  bytes.add<double>(std::max(extents.separator_size, std::min(extents.separators_sum, kSharedTotals)));
  bytes.add<double>(extents.belief_states);
  bytes.add<double>(own_totals_for(extents.clique_size));
  bytes.add<unsigned char>(room_for_portion(tree).bytes());
  bytes.add<size_t>(2 * cliques);               // order, reached_by
  bytes.add<unsigned char>(2 * cliques);        // silent, spoke
  bytes.add<uint32_t>(2 * cliques);             // marked, measured
  bytes.add<uint32_t>(2 * tree.nodes.size());   // evidence, changed
  bytes.add<Node*>(4 * tree.nodes.size() + 2);  // pending, wanted, trail
  if (tree.has_continuous) bytes.add<unsigned char>(cg_memory_needed(tree));
  bytes.add<TapeCache>(1);
  bytes.add<uint32_t>(tree.nodes.size() + 1);  // its pattern
  bytes.add<char>(utility_engine_bytes(tree));
  for (const Node* node : tree.nodes) bytes.add<tv_number_t>(size_multiply(node->number_of_states, 3));
}

}  // namespace

size_t memory_needed(const Domain& domain) noexcept {
  Bytes bytes;
  for (const JunctionTree& tree : domain.forest->trees) add_engine(bytes, tree);
  return bytes.total();
}

bool exceeds_memory_limit(const Domain& domain) noexcept {
  if (domain.memory_limit == 0) return false;
  const size_t need = memory_needed(domain);
  return need == kHugeSize || need > domain.memory_limit;
}

}  // namespace tv

size_t tv_domain_get_memory_need(tv_domain_t* domain) {
  if (!tv::check(domain && tv::is_triangulated(*domain))) return tv::kNone;
  const size_t need = tv::memory_needed(*domain);
  tv::require(need != tv::kHugeSize, tv_status_size_too_large);
  return need;
}
