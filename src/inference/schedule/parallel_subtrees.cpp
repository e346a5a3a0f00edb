#include "inference/schedule/parallel_subtrees.h"

#include <algorithm>

#include "api/memory.h"
#include "inference/elimination/elimination_schedule.h"

namespace tv {
namespace {

constexpr double kOperationWork = 500.0;  // of an operation beside its entries, in entries
constexpr double kMessageWork = 4.0;      // of an entry of a message
constexpr double kNotShared = 0.15;       // share of a pass that does not speed up with threads

class SubtreeFinder {
 public:
  SubtreeFinder(const TreeEngine& engine, const Schedule& schedule, const ParallelSettings& settings)
      : settings_(settings), cliques_(engine.cliques.size()), sender_(schedule.operation_count) {
    read_schedule(engine, schedule);
    link_children();
  }
  // An elimination schedule is a forest; its trees hang from a virtual root without work.
  SubtreeFinder(const EliminationSchedule& schedule, const ParallelSettings& settings)
      : settings_(settings),
        cliques_(schedule.parents.size() + 1),
        sender_(schedule.collects.size() + schedule.distributes.size()) {
    read_elimination(schedule);
    link_children();
  }

  Subtrees find() {
    Subtrees found;
    found.threads = settings_.concurrency_level;
    if (choose_root_region() && number_subtrees() > 1) list_operations(found);
    return found;
  }

 private:
  struct CliqueData {
    size_t parent = kNone, child = kNone, sibling = kNone;
    double own = 0.0;    // its own work
    double whole = 0.0;  // with all work behind it
    bool seen = false, root_region = false;
    bool shared = false;  // its passes are large enough to be split among threads
    size_t subtree = kNone;
  };

  void visit(size_t clique) {
    if (cliques_[clique].seen) return;
    cliques_[clique].seen = true;
    order_.push_back(clique);
  }

  void add_work(uint32_t clique, const Shape& shape, size_t steps, size_t message) noexcept {
    const double entries = static_cast<double>(shape.size) * static_cast<double>(steps);
    cliques_[clique].own += kOperationWork + entries + kMessageWork * static_cast<double>(message);
    cliques_[clique].shared |= shape.size >= limits.grains_to_share * settings_.grain_size;
  }

  // Finds the clique of each operation, the work of each clique, and the order of the cliques from the root
  // outwards.
  void read_schedule(const TreeEngine& engine, const Schedule& schedule) {
    size_t root = 0;
    while (schedule.operations[root].kind != OperationKind::root) ++root;
    visit(schedule.operations[root].clique);
    for (size_t i = root; i-- > 0;) visit(schedule.operations[i].clique);
    uint32_t sender = 0;
    for (size_t i = 0; i < schedule.operation_count; ++i) {
      const Operation& operation = schedule.operations[i];
      if (operation.kind != OperationKind::belief) sender = operation.clique;
      if (operation.kind == OperationKind::pass) visit(sender);
      sender_[i] = sender;
      add_work(sender, operation.shape, operation.step_count, operation.size);
      if (operation.kind == OperationKind::collect)
        cliques_[sender].parent = engine.cliques[sender].links[operation.link].neighbor;
      else if (operation.kind == OperationKind::message)
        cliques_[engine.cliques[sender].links[operation.link].neighbor].parent = sender;
    }
    first_to_distribute_ = root;
  }

  void read_elimination(const EliminationSchedule& schedule) {
    const uint32_t root = static_cast<uint32_t>(schedule.parents.size());
    visit(root);
    for (uint32_t c = root; c-- > 0;) {
      visit(c);
      cliques_[c].parent = std::min(schedule.parents[c], root);
    }
    size_t i = 0;
    for (const EliminationSchedule::Collect& operation : schedule.collects) {
      sender_[i++] = operation.clique;
      add_work(operation.clique, operation.pass.shape, operation.pass.step_count, operation.size);
    }
    first_to_distribute_ = i;
    for (const EliminationSchedule::Distribute& operation : schedule.distributes) {
      sender_[i++] = operation.clique;
      add_work(operation.clique, operation.pass.shape, operation.pass.step_count, operation.clear_totals);
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

  // The time of a clique in the root region, where threads split its passes.
  double root_region_time(size_t clique) const noexcept {
    const double threads = static_cast<double>(settings_.concurrency_level);
    return cliques_[clique].own * (cliques_[clique].shared ? kNotShared + (1.0 - kNotShared) / threads : 1.0);
  }

  // Grows the root region by the clique with the most work behind it, again and again, and settles for the
  // best extent on the way.
  bool choose_root_region() {
    const auto lighter = [&](size_t a, size_t b) { return cliques_[a].whole < cliques_[b].whole; };
    std::vector<size_t> heap = {order_[0]}, region;
    const double threads = static_cast<double>(settings_.concurrency_level);
    const double whole = cliques_[order_[0]].whole;
    double root_region = 0.0, subtrees = whole, best_time = whole;
    size_t best = 0;
    while (!heap.empty() && region.size() < limits.root_region) {
      std::pop_heap(heap.begin(), heap.end(), lighter);
      const size_t next = heap.back();
      heap.pop_back();
      region.push_back(next);
      root_region += root_region_time(next);
      subtrees -= cliques_[next].own;
      for (size_t c = cliques_[next].child; c != kNone; c = cliques_[c].sibling) {
        heap.push_back(c);
        std::push_heap(heap.begin(), heap.end(), lighter);
      }
      const double longest = heap.empty() ? 0.0 : cliques_[heap[0]].whole;
      const double time = root_region + std::max(longest, subtrees / threads);
      if (time >= best_time) continue;
      best_time = time;
      best = region.size();
    }
    for (size_t i = 0; i < best; ++i) cliques_[region[i]].root_region = true;
    return best > 0;
  }

  // Numbers the subtrees, those with the most work first; returns how many there are.
  size_t number_subtrees() {
    for (size_t i = 1; i < order_.size(); ++i) {
      const CliqueData& data = cliques_[order_[i]];
      if (!data.root_region && cliques_[data.parent].root_region) roots_.push_back(order_[i]);
    }
    std::stable_sort(roots_.begin(), roots_.end(),
                     [&](size_t a, size_t b) { return cliques_[a].whole > cliques_[b].whole; });
    for (size_t b = 0; b < roots_.size(); ++b) cliques_[roots_[b]].subtree = b;
    for (size_t i = 1; i < order_.size(); ++i) {
      CliqueData& data = cliques_[order_[i]];
      if (!data.root_region && data.subtree == kNone) data.subtree = cliques_[data.parent].subtree;
    }
    return roots_.size();
  }

  void list_operations(Subtrees& found) const {
    const size_t subtrees = roots_.size();
    found.collect.assign(subtrees, {0, 0});
    found.distribute.assign(subtrees, {0, 0});
    found.operations.resize(sender_.size());
    const auto part_of = [&](size_t i) -> Subtrees::Part& {
      const CliqueData& data = cliques_[sender_[i]];
      if (data.root_region) return found.root_region;
      return (i < first_to_distribute_ ? found.collect : found.distribute)[data.subtree];
    };
    for (size_t i = 0; i < sender_.size(); ++i) ++part_of(i).count;
    size_t first = 0;
    const auto place = [&](Subtrees::Part& part) {
      part.first = first;
      first += part.count;
      part.count = 0;
    };
    place(found.root_region);
    for (size_t b = 0; b < subtrees; ++b) place(found.collect[b]), place(found.distribute[b]);
    for (size_t i = 0; i < sender_.size(); ++i) {
      Subtrees::Part& part = part_of(i);
      found.operations[part.first + part.count++] = static_cast<uint32_t>(i);
    }
  }

  const ParallelSettings& settings_;
  std::vector<CliqueData> cliques_;
  std::vector<uint32_t> sender_;    // of each operation: its clique
  std::vector<size_t> order_;       // cliques from the root outwards
  std::vector<size_t> roots_;       // of the subtrees
  size_t first_to_distribute_ = 0;  // operations before it collect
};

}  // namespace

bool deserves_threads(const Domain& domain, const Schedule& schedule) noexcept {
  return domain.concurrency_level > 1 && would_deserve_threads(domain, schedule);
}

bool would_deserve_threads(const Domain& domain, const Schedule& schedule) noexcept {
  size_t work = 0;
  for (size_t i = 0; i < schedule.operation_count; ++i)
    work =
        size_add(work, size_multiply(schedule.operations[i].shape.size, schedule.operations[i].step_count));
  return work / limits.grains_for_threads >= domain.grain_size;
}

bool may_deserve_threads(const TreeEngine& engine) noexcept {
  if (engine.domain->concurrency_level == 1) return false;
  size_t work = 0;
  const auto add = [&](const CliqueWork& each) {
    const size_t steps = each.potentials.size() + each.beliefs.size() + 2 * each.links.size();
    work = size_add(work, size_multiply(each.table.shape.size, steps));
  };
  if (engine.targets.size() < engine.tree->nodes.size() / 8)
    for (const uint32_t clique : engine.marked) add(engine.cliques[clique]);
  else
    std::for_each(engine.cliques.begin(), engine.cliques.end(), add);
  const size_t grain = engine.domain->grain_size;
  return work / limits.grains_for_threads >= grain &&
         work / engine.cliques.size() >= grain / limits.cliques_in_grain;
}

Subtrees find_subtrees(const TreeEngine& engine, const Schedule& schedule, const ParallelSettings& settings) {
  Subtrees found = SubtreeFinder(engine, schedule, settings).find();
  for (size_t i = found.root_region.count; i < found.operations.size(); ++i) {
    const Operation& operation = schedule.operations[found.operations[i]];
    found.totals = std::max({found.totals, operation.clear_totals,
                             operation.kind == OperationKind::collect ? operation.size : 0});
    found.belief_totals = std::max(found.belief_totals, operation.clear_beliefs);
  }
  return found;
}

Subtrees find_subtrees(const EliminationSchedule& schedule, const ParallelSettings& settings) {
  return SubtreeFinder(schedule, settings).find();
}

}  // namespace tv
