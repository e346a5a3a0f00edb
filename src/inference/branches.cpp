#include "inference/branches.h"

#include <algorithm>

#include "api/memory.h"
#include "inference/elimination_plan.h"

namespace tv {
namespace {

constexpr double kItemWork = 500.0;   // of an item beside its entries, in entries
constexpr double kMessageWork = 4.0;  // of an entry of a message
constexpr double kNotShared = 0.15;   // of a pass that several threads share

class BranchFinder {
 public:
  BranchFinder(const TreeEngine& engine, const Tape& tape, const ParallelSettings& settings)
      : settings_(settings), cliques_(engine.cliques.size()), speaker_(tape.item_count) {
    read_tape(engine, tape);
    link_children();
  }
  // Its trees stand on a root that does nothing.
  BranchFinder(const EliminationPlan& plan, const ParallelSettings& settings)
      : settings_(settings),
        cliques_(plan.parents.size() + 1),
        speaker_(plan.collects.size() + plan.distributes.size()) {
    read_plan(plan);
    link_children();
  }

  Branches find() {
    Branches found;
    found.threads = settings_.concurrency_level;
    if (choose_trunk() && name_branches() > 1) list_items(found);
    return found;
  }

 private:
  struct CliqueData {
    size_t parent = kNone, child = kNone, sibling = kNone;
    double own = 0.0;    // work
    double whole = 0.0;  // with everything beyond it
    bool seen = false, trunk = false;
    bool shared = false;  // its passes are worth while to be shared
    size_t branch = kNone;
  };

  void meet(size_t clique) {
    if (cliques_[clique].seen) return;
    cliques_[clique].seen = true;
    order_.push_back(clique);
  }

  void add_work(uint32_t clique, const Shape& shape, size_t steps, size_t message) noexcept {
    const double entries = static_cast<double>(shape.size) * static_cast<double>(steps);
    cliques_[clique].own += kItemWork + entries + kMessageWork * static_cast<double>(message);
    cliques_[clique].shared |= shape.size >= limits.grains_to_share * settings_.grain_size;
  }

  // Whose item each is, what the cliques cost, and their order from the root outwards.
  void read_tape(const TreeEngine& engine, const Tape& tape) {
    size_t root = 0;
    while (tape.items[root].kind != ItemKind::root) ++root;
    meet(tape.items[root].clique);
    for (size_t i = root; i-- > 0;) meet(tape.items[i].clique);
    uint32_t speaker = 0;
    for (size_t i = 0; i < tape.item_count; ++i) {
      const Item& item = tape.items[i];
      if (item.kind != ItemKind::belief) speaker = item.clique;
      if (item.kind == ItemKind::pass) meet(speaker);
      speaker_[i] = speaker;
      add_work(speaker, item.shape, item.step_count, item.size);
      if (item.kind == ItemKind::collect)
        cliques_[speaker].parent = engine.cliques[speaker].links[item.link].neighbor;
      else if (item.kind == ItemKind::message)
        cliques_[engine.cliques[speaker].links[item.link].neighbor].parent = speaker;
    }
    first_to_distribute_ = root;
  }

  void read_plan(const EliminationPlan& plan) {
    const uint32_t root = static_cast<uint32_t>(plan.parents.size());
    meet(root);
    for (uint32_t c = root; c-- > 0;) {
      meet(c);
      cliques_[c].parent = std::min(plan.parents[c], root);
    }
    size_t i = 0;
    for (const EliminationPlan::Collect& item : plan.collects) {
      speaker_[i++] = item.clique;
      add_work(item.clique, item.pass.shape, item.pass.step_count, item.size);
    }
    first_to_distribute_ = i;
    for (const EliminationPlan::Distribute& item : plan.distributes) {
      speaker_[i++] = item.clique;
      add_work(item.clique, item.pass.shape, item.pass.step_count, item.clear_totals);
    }
  }

  void link_children() noexcept {
    for (size_t i = order_.size(); i-- > 0;) {
      CliqueData& data = cliques_[order_[i]];
      data.whole += data.own;
      if (i == 0) continue;
      CliqueData& parent = cliques_[data.parent];
      parent.whole += data.whole;
      data.sibling = parent.child;
      parent.child = order_[i];
    }
  }

  // The time of a clique in the trunk, where several threads share its passes.
  double trunk_time(size_t clique) const noexcept {
    const double threads = static_cast<double>(settings_.concurrency_level);
    return cliques_[clique].own * (cliques_[clique].shared ? kNotShared + (1.0 - kNotShared) / threads : 1.0);
  }

  // Takes the clique with the most work beyond it into the trunk, again and again, and keeps to the best.
  bool choose_trunk() {
    const auto lighter = [&](size_t a, size_t b) { return cliques_[a].whole < cliques_[b].whole; };
    std::vector<size_t> heap = {order_[0]}, taken;
    const double threads = static_cast<double>(settings_.concurrency_level);
    const double whole = cliques_[order_[0]].whole;
    double trunk = 0.0, branches = whole, best_time = whole;
    size_t best = 0;
    while (!heap.empty() && taken.size() < limits.trunk) {
      std::pop_heap(heap.begin(), heap.end(), lighter);
      const size_t next = heap.back();
      heap.pop_back();
      taken.push_back(next);
      trunk += trunk_time(next);
      branches -= cliques_[next].own;
      for (size_t c = cliques_[next].child; c != kNone; c = cliques_[c].sibling) {
        heap.push_back(c);
        std::push_heap(heap.begin(), heap.end(), lighter);
      }
      const double longest = heap.empty() ? 0.0 : cliques_[heap[0]].whole;
      const double time = trunk + std::max(longest, branches / threads);
      if (time >= best_time) continue;
      best_time = time;
      best = taken.size();
    }
    for (size_t i = 0; i < best; ++i) cliques_[taken[i]].trunk = true;
    return best > 0;
  }

  // Numbers the branches, those with the most work first; how many there are.
  size_t name_branches() {
    for (size_t i = 1; i < order_.size(); ++i) {
      const CliqueData& data = cliques_[order_[i]];
      if (!data.trunk && cliques_[data.parent].trunk) roots_.push_back(order_[i]);
    }
    std::stable_sort(roots_.begin(), roots_.end(),
                     [&](size_t a, size_t b) { return cliques_[a].whole > cliques_[b].whole; });
    for (size_t b = 0; b < roots_.size(); ++b) cliques_[roots_[b]].branch = b;
    for (size_t i = 1; i < order_.size(); ++i) {
      CliqueData& data = cliques_[order_[i]];
      if (!data.trunk && data.branch == kNone) data.branch = cliques_[data.parent].branch;
    }
    return roots_.size();
  }

  void list_items(Branches& found) const {
    const size_t branches = roots_.size();
    found.collect.assign(branches, {0, 0});
    found.distribute.assign(branches, {0, 0});
    found.items.resize(speaker_.size());
    const auto part_of = [&](size_t i) -> Branches::Part& {
      const CliqueData& data = cliques_[speaker_[i]];
      if (data.trunk) return found.trunk;
      return (i < first_to_distribute_ ? found.collect : found.distribute)[data.branch];
    };
    for (size_t i = 0; i < speaker_.size(); ++i) ++part_of(i).count;
    size_t first = 0;
    const auto place = [&](Branches::Part& part) {
      part.first = first;
      first += part.count;
      part.count = 0;
    };
    place(found.trunk);
    for (size_t b = 0; b < branches; ++b) place(found.collect[b]), place(found.distribute[b]);
    for (size_t i = 0; i < speaker_.size(); ++i) {
      Branches::Part& part = part_of(i);
      found.items[part.first + part.count++] = static_cast<uint32_t>(i);
    }
  }

  const ParallelSettings& settings_;
  std::vector<CliqueData> cliques_;
  std::vector<uint32_t> speaker_;   // of each item
  std::vector<size_t> order_;       // cliques from the root outwards
  std::vector<size_t> roots_;       // of the branches
  size_t first_to_distribute_ = 0;  // items before it collect
};

}  // namespace

bool deserves_threads(const Domain& domain, const Tape& tape) noexcept {
  return domain.concurrency_level > 1 && would_deserve_threads(domain, tape);
}

bool would_deserve_threads(const Domain& domain, const Tape& tape) noexcept {
  size_t work = 0;
  for (size_t i = 0; i < tape.item_count; ++i)
    work = size_add(work, size_multiply(tape.items[i].shape.size, tape.items[i].step_count));
  return work / limits.grains_for_threads >= domain.grain_size;
}

bool may_deserve_threads(const TreeEngine& engine) noexcept {
  if (engine.domain->concurrency_level == 1) return false;
  size_t work = 0;
  const auto add = [&](const CliqueWork& each) {
    const size_t steps = each.potentials.size() + each.beliefs.size() + 2 * each.links.size();
    work = size_add(work, size_multiply(each.table.shape.size, steps));
  };
  if (engine.wanted.size() < engine.tree->nodes.size() / 8)
    for (const uint32_t clique : engine.marked) add(engine.cliques[clique]);
  else
    std::for_each(engine.cliques.begin(), engine.cliques.end(), add);
  const size_t grain = engine.domain->grain_size;
  return work / limits.grains_for_threads >= grain &&
         work / engine.cliques.size() >= grain / limits.cliques_in_grain;
}

Branches find_branches(const TreeEngine& engine, const Tape& tape, const ParallelSettings& settings) {
  Branches found = BranchFinder(engine, tape, settings).find();
  for (size_t i = found.trunk.count; i < found.items.size(); ++i) {
    const Item& item = tape.items[found.items[i]];
    found.totals =
        std::max({found.totals, item.clear_totals, item.kind == ItemKind::collect ? item.size : 0});
    found.belief_totals = std::max(found.belief_totals, item.clear_beliefs);
  }
  return found;
}

Branches find_branches(const EliminationPlan& plan, const ParallelSettings& settings) {
  return BranchFinder(plan, settings).find();
}

}  // namespace tv
