// Equivalence classes: the colliders of nodes without a link, and what follows from them.
#include "learn/structure/graph/equivalence_class.h"

#include <memory>

#include "api/boundary.h"
#include "learn/structure/graph/direct_links.h"
#include "learn/structure/graph/links_by_kind.h"
#include "learn/structure/graph/orientation_rules.h"

namespace tv {
namespace {

// Whether the child has another parent without a link to this one.
bool is_in_collider(const LinksByKind& links, size_t parent, size_t child) noexcept {
  for (size_t w = 0; w < links.words(); ++w) {
    uint64_t others = links.parents.row(child)[w] & ~links.adjacent.row(parent)[w];
    if (parent / 64 == w) others &= ~bit_of(parent);
    if (others) return true;
  }
  return false;
}

}  // namespace

PartialGraph class_of(const PartialGraph& dag) { return class_of(dag, {}); }

PartialGraph class_of(const PartialGraph& dag, const Knowledge& knowledge) {
  const LinksByKind links(dag);
  PartialGraph graph = dag;
  for (size_t parent = 0; parent < dag.size(); ++parent)
    for (size_t w = 0; w < links.words(); ++w)
      for_each_bit(links.children.row(parent)[w], w, [&](size_t child) {
        if (!is_in_collider(links, parent, child)) graph.join(parent, child);
      });
  apply_knowledge(graph, knowledge);
  apply_orientation_rules(graph, knowledge);
  return graph;
}

}  // namespace tv

tv_structure_t* tv_structure_new_class(const tv_structure_t* structure) {
  return tv::guarded(static_cast<tv_structure_t*>(nullptr), [&]() -> tv_structure_t* {
    if (!tv::check(structure) || tv::check_is_directed(*structure)) return nullptr;
    auto made = std::make_unique<tv::Structure>();
    made->nodes = structure->nodes;
    made->knowledge = structure->knowledge;
    made->graph = tv::class_of(structure->graph);
    return made.release();
  });
}
