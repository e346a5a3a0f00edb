// Schedules for groups of missing nodes. The nodes of a group come in one by one; each family is multiplied
// in with the last of its missing nodes, and a node is summed out as soon as all its families are there. So
// no more nodes are present together than their links ask for (a path decomposition).
#pragma once

#include <cstdint>

#include "learn/families.h"

namespace tv {

// Which nodes the families join. Nodes are columns, the positions of their own families.
struct FamilyGraph {
  explicit FamilyGraph(const std::vector<Family>& all);

  // Of a node in the table of a family; 0 for a node that is none of its members.
  size_t stride(uint32_t family, uint32_t node) const noexcept;

  const std::vector<Family>& families;
  std::vector<uint32_t> states;                    // by node
  std::vector<std::vector<uint32_t>> families_of;  // by node
  std::vector<std::vector<uint32_t>> members;      // by family
};

class GroupSchedule {
 public:
  // Joint states are those of the nodes present before, in their order, then the one that comes in, which
  // is fastest.
  struct Stage {
    std::vector<uint32_t> nodes;         // present, the one that comes in last
    std::vector<uint32_t> stay;          // those of them that are not summed out, in the same order
    uint32_t first_family, last_family;  // that are complete now; the latter is not one of them
    size_t before, joint, after;         // joint states of the nodes before, of all, of those that stay
  };
  // Where a stage finds and puts its numbers, by joint state.
  struct StageMaps {
    std::vector<uint32_t> after;                // the joint state of the nodes that stay
    std::vector<std::vector<uint32_t>> places;  // by family of the stage: in its table
  };

  // Of nodes and the families that hold some of them, with what they observe apart.
  GroupSchedule(const FamilyGraph& graph, const std::vector<uint32_t>& nodes,
                const std::vector<uint32_t>& families);

  const std::vector<Stage>& stages() const noexcept { return stages_; }
  const std::vector<uint32_t>& families() const noexcept { return families_; }  // by stage
  double most_joint() const noexcept { return most_joint_; }                    // joint states of a stage
  size_t work() const noexcept;  // joint states times families, over all stages
  std::vector<StageMaps> maps(const FamilyGraph& graph) const;

 private:
  class Builder;

  std::vector<Stage> stages_;
  std::vector<uint32_t> families_;
  double most_joint_ = 1.0;
};

}  // namespace tv
