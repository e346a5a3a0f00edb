// Adding up what the engines of a domain will hold: it follows engine.cpp, and a test holds it against the
// bytes that are really asked for. Large tables need little but their numbers; in networks of many small
// cliques most of it is plans.

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

// States that the members whose belief is read from a table have together.
template <class Reads>
size_t states_of_beliefs(const NodeList& members, Reads reads) noexcept {
  size_t states = 0;
  for (const Node* node : members)
    if (reads(compiled(*node).belief_source)) states = size_add(states, node->number_of_states);
  return states;
}

size_t states_of_beliefs(const Clique& clique) noexcept {
  return states_of_beliefs(clique.members(), [&](const BeliefSource& source) {
    return !source.separator && source.clique == &clique;
  });
}

size_t states_of_beliefs(const Separator& separator) noexcept {
  return states_of_beliefs(separator.members,
                           [&](const BeliefSource& source) { return source.separator == &separator; });
}

// What the working memory of a tree is measured by: the largest of its cliques in several respects.
struct Extents {
  size_t separator_size = 1;  // of the largest separator
  size_t separators_sum = 1;  // of all separators around one clique
  size_t belief_states = 1;   // of all beliefs that one table gives
  size_t clique_size = 1;     // of the largest clique
};

void measure(Extents& extents, const Clique& clique) noexcept {
  size_t around = 0;
  for (const Link& link : clique.links) {
    around = size_add(around, link.separator->size);
    extents.separator_size = std::max(extents.separator_size, link.separator->size);
  }
  extents.separators_sum = std::max(extents.separators_sum, around);
  extents.clique_size = std::max(extents.clique_size, clique.table.size);
  extents.belief_states = std::max(extents.belief_states, states_of_beliefs(clique));
  if (clique.parent_separator)
    extents.belief_states = std::max(extents.belief_states, states_of_beliefs(*clique.parent_separator));
}

void add_engine(Bytes& bytes, const JunctionTree& tree) noexcept {
  Extents extents;
  for (size_t c = 0; c < tree.clique_count(); ++c) measure(extents, *tree.cliques[c]);
  bytes.add<TreeEngine>(1);
  bytes.add<char>(list_bytes(tree));
  bytes.add<float>(kept_entries(tree));
  bytes.add<double>(std::max(extents.separator_size, std::min(extents.separators_sum, kSharedTotals)));
  bytes.add<double>(extents.belief_states);
  bytes.add<double>(own_totals_for(extents.clique_size));
  bytes.add<char>(room_for_portion(tree).bytes());
  if (tree.has_continuous) bytes.add<char>(cg_memory_needed(tree));
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
