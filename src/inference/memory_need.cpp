// The sum of all arrays that the engines of a domain allocate. It follows engine.cpp, and a test compares it
// with the bytes that are really allocated. Large tables need little but their numbers; in networks of many
// small cliques most of it is lists.

#include "inference/memory_need.h"

#include <algorithm>

#include "api/boundary.h"
#include "inference/compress/sparse_tree.h"
#include "inference/gaussian/cg_engine.h"
#include "inference/schedule/lazy_clique.h"
#include "inference/schedule/schedule_cache.h"
#include "inference/utility/utility_engine.h"

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

void add_engine(Bytes& bytes, const JunctionTree& tree) noexcept {
  bytes.add<TreeEngine>(1);
  bytes.add<TreeEngine*>(1);
  bytes.add<char>(list_bytes(tree));
  bytes.add<float>(stored_entries(tree));
  if (tree.sparse) bytes.add<char>(sparse_bytes(tree));
  if (tree.has_continuous) bytes.add<char>(cg_memory_needed(tree));
  bytes.add<ScheduleCache>(1);
  bytes.add<SharedSchedules>(1);
  bytes.add<uint32_t>(tree.nodes.size() + 1);  // its pattern
  bytes.add<char>(utility_engine_bytes(tree));
  for (const Node* node : tree.nodes) bytes.add<tv_number_t>(size_multiply(node->number_of_states, 3));
}

}  // namespace

size_t memory_needed(const Domain& domain) noexcept {
  Bytes bytes;
  bytes.add<InferenceState>(1);
  bytes.add<NodeState>(domain.forest->nodes.size());
  for (const JunctionTree& tree : domain.forest->trees) add_engine(bytes, tree);
  return bytes.total();
}

bool exceeds_memory_limit(const Domain& domain) noexcept {
  if (domain.memory_limit == 0) return false;
  const size_t need = memory_needed(domain);
  return need == kHugeSize || need > domain.memory_limit;
}

tv_status_t refuse_for_memory(const Domain& domain) noexcept {
  const size_t need = memory_needed(domain);
  if (need == kHugeSize)
    return refuse(tv_status_no_memory, "compiling needs more memory than any machine has");
  return refuse(tv_status_no_memory, "compiling needs %zu bytes, the limit is %zu", need,
                domain.memory_limit);
}

}  // namespace tv

size_t tv_domain_get_memory_need(tv_domain_t* domain) {
  if (!tv::check(domain && tv::is_triangulated(*domain))) return tv::kNone;
  const size_t need = tv::memory_needed(*domain);
  tv::require(need != tv::kHugeSize, tv_status_size_too_large);
  return need;
}
