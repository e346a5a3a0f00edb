// The walks over a junction tree that decide who sends messages to whom.

#include "inference/schedule.h"

namespace tv {
namespace {

// The walk over all cliques that `admits` accepts, breadth first, neighbours in the order of their links.
template <class Admits>
void walk(TreeEngine& engine, size_t start, Admits admits) noexcept {
  engine.order.clear();
  std::fill(engine.reached_by.begin(), engine.reached_by.end(), kNone);
  engine.order.push_back(start);
  for (size_t i = 0; i < engine.order.size(); ++i) {
    const size_t here = engine.order[i];
    for (size_t l = 0; l < engine.cliques[here].links.size(); ++l) {
      const LinkPlan& link = engine.cliques[here].links[l];
      if (l == engine.reached_by[here] || !admits(link.neighbor)) continue;
      engine.reached_by[link.neighbor] = link.back;
      engine.order.push_back(link.neighbor);
    }
  }
}

bool& mark(TreeEngine& engine, size_t clique) noexcept { return engine.cliques[clique].clique->marked; }

}  // namespace

void mark_all_cliques(TreeEngine& engine) noexcept {
  for (CliqueWork& work : engine.cliques) work.clique->marked = true;
}

void clear_marks(TreeEngine& engine) noexcept {
  for (CliqueWork& work : engine.cliques) work.clique->marked = false;
}

size_t _tv_identify_subtree(TreeEngine& engine, size_t root) noexcept {
  if (root != kNone) mark(engine, root) = true;
  size_t start = root;
  for (size_t c = 0; start == kNone && c < engine.cliques.size(); ++c)
    if (mark(engine, c)) start = c;
  if (start == kNone) mark(engine, start = 0) = true;

  walk(engine, start, [](size_t) { return true; });
  for (size_t i = engine.order.size(); i-- > 1;) {
    const size_t here = engine.order[i];
    if (mark(engine, here)) mark(engine, engine.cliques[here].links[engine.reached_by[here]].neighbor) = true;
  }
  if (root != kNone) return root;
  size_t best = start;
  for (size_t clique : engine.order)
    if (mark(engine, clique) &&
        engine.cliques[clique].clique->table.size < engine.cliques[best].clique->table.size)
      best = clique;
  return best;
}

void order_from(TreeEngine& engine, size_t root) noexcept {
  walk(engine, root, [&](size_t clique) { return mark(engine, clique); });
}

}  // namespace tv
