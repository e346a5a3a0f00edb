#include "learn/group_schedule.h"

#include <algorithm>

namespace tv {

FamilyGraph::FamilyGraph(const std::vector<Family>& all)
    : families(all), families_of(all.size()), members(all.size()) {
  std::vector<uint32_t> column(all.front().node->domain->node_count);
  for (uint32_t f = 0; f < all.size(); ++f) column[all[f].node->number - 1] = f;
  for (uint32_t f = 0; f < all.size(); ++f) {
    states.push_back(static_cast<uint32_t>(all[f].node->number_of_states));
    for (const Node* member : all[f].members) {
      members[f].push_back(column[member->number - 1]);
      families_of[members[f].back()].push_back(f);
    }
  }
}

size_t FamilyGraph::stride(uint32_t family, uint32_t node) const noexcept {
  const std::vector<uint32_t>& list = members[family];
  const auto member = std::find(list.begin(), list.end(), node);
  return member == list.end() ? 0 : families[family].strides[static_cast<size_t>(member - list.begin())];
}

// Chooses the next node so that as few joint states as possible stay.
class GroupSchedule::Builder {
 public:
  Builder(const FamilyGraph& graph, GroupSchedule& schedule, const std::vector<uint32_t>& nodes,
          const std::vector<uint32_t>& families)
      : graph_(graph), schedule_(schedule), waiting_(nodes) {
    const size_t count = graph.states.size();  // of nodes, and of families
    lacking_.resize(count);
    open_.resize(count);
    gained_.resize(count);
    is_member_.resize(count);
    for (const uint32_t v : nodes) is_member_[v] = 1;
    for (const uint32_t f : families)
      for (const uint32_t v : graph.members[f]) {
        if (!is_member_[v]) continue;
        ++open_[v];
        ++lacking_[f];
      }
  }

  void run() {
    while (!waiting_.empty()) {
      size_t best = 0;
      Sizes least = sizes_with(waiting_[0]);
      for (size_t i = 1; i < waiting_.size(); ++i) {
        const Sizes sizes = sizes_with(waiting_[i]);
        if (sizes.after > least.after || (sizes.after == least.after && sizes.joint >= least.joint)) continue;
        best = i;
        least = sizes;
      }
      const uint32_t node = waiting_[best];
      waiting_.erase(waiting_.begin() + static_cast<ptrdiff_t>(best));
      add(node, least);
    }
  }

 private:
  struct Sizes {
    double joint, after;
  };

  // Calls visit(u) for each node whose last families would be complete with `node`.
  template <class Visit>
  void for_each_leaving(uint32_t node, Visit visit) {
    touched_.assign(1, node);
    for (const uint32_t f : graph_.families_of[node]) {
      if (lacking_[f] != 1) continue;
      for (const uint32_t u : graph_.members[f]) {
        if (!is_member_[u]) continue;
        if (gained_[u]++ == 0 && u != node) touched_.push_back(u);
      }
    }
    for (const uint32_t u : touched_) {
      if (gained_[u] == open_[u]) visit(u);
      gained_[u] = 0;
    }
  }

  Sizes sizes_with(uint32_t node) {
    Sizes sizes{present_ * graph_.states[node], present_ * graph_.states[node]};
    for_each_leaving(node, [&](uint32_t u) { sizes.after /= graph_.states[u]; });
    return sizes;
  }

  void add(uint32_t node, const Sizes& sizes) {
    Stage stage;
    stage.nodes = nodes_;
    stage.nodes.push_back(node);
    std::vector<uint32_t> leaving;
    for_each_leaving(node, [&](uint32_t u) { leaving.push_back(u); });
    stage.first_family = static_cast<uint32_t>(schedule_.families_.size());
    for (const uint32_t f : graph_.families_of[node]) {
      if (lacking_[f] == 0 || --lacking_[f] > 0) continue;
      schedule_.families_.push_back(f);
      for (const uint32_t u : graph_.members[f])
        if (is_member_[u]) --open_[u];
    }
    stage.last_family = static_cast<uint32_t>(schedule_.families_.size());
    std::copy_if(stage.nodes.begin(), stage.nodes.end(), std::back_inserter(stage.stay),
                 [&](uint32_t u) { return std::find(leaving.begin(), leaving.end(), u) == leaving.end(); });
    // Sizes that do not fit are those of schedules that nobody runs.
    stage.before = static_cast<size_t>(std::min(present_, 1e15));
    stage.joint = static_cast<size_t>(std::min(sizes.joint, 1e15));
    present_ = 1.0;
    for (const uint32_t u : stage.stay) present_ *= graph_.states[u];
    stage.after = static_cast<size_t>(std::min(present_, 1e15));
    schedule_.most_joint_ = std::max(schedule_.most_joint_, sizes.joint);
    nodes_ = stage.stay;
    schedule_.stages_.push_back(std::move(stage));
  }

  const FamilyGraph& graph_;
  GroupSchedule& schedule_;
  std::vector<uint32_t> waiting_, nodes_, touched_;
  double present_ = 1.0;           // joint states of the nodes that are there
  std::vector<uint32_t> lacking_;  // by family: members that have not come in; 0 where it does not count
  std::vector<uint32_t> open_;     // by node: families that are not complete
  std::vector<uint32_t> gained_;
  std::vector<unsigned char> is_member_;  // by node: of the group
};

GroupSchedule::GroupSchedule(const FamilyGraph& graph, const std::vector<uint32_t>& nodes,
                             const std::vector<uint32_t>& families) {
  Builder(graph, *this, nodes, families).run();
}

size_t GroupSchedule::work() const noexcept {
  size_t work = 0;
  for (const Stage& stage : stages_) work += stage.joint * (stage.last_family - stage.first_family + 1);
  return work;
}

std::vector<GroupSchedule::StageMaps> GroupSchedule::maps(const FamilyGraph& graph) const {
  std::vector<StageMaps> result;
  // By joint state of the nodes of a stage: the sum of what their states take, by node.
  const auto sums = [&](const Stage& stage, auto step_of) {
    std::vector<uint32_t> list{0}, longer;
    for (const uint32_t node : stage.nodes) {
      const auto step = static_cast<uint32_t>(step_of(node));
      longer.clear();
      longer.reserve(list.size() * graph.states[node]);
      for (const uint32_t sum : list)
        for (uint32_t s = 0; s < graph.states[node]; ++s) longer.push_back(sum + s * step);
      list.swap(longer);
    }
    return list;
  };
  for (const Stage& stage : stages_) {
    StageMaps& maps = result.emplace_back();
    maps.after = sums(stage, [&](uint32_t node) -> size_t {
      const auto place = std::find(stage.stay.begin(), stage.stay.end(), node);
      if (place == stage.stay.end()) return 0;
      size_t step = 1;
      for (auto later = place + 1; later != stage.stay.end(); ++later) step *= graph.states[*later];
      return step;
    });
    for (uint32_t i = stage.first_family; i < stage.last_family; ++i)
      maps.places.push_back(sums(stage, [&](uint32_t node) { return graph.stride(families_[i], node); }));
  }
  return result;
}

}  // namespace tv
