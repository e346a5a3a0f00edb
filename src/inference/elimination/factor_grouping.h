// Products of factors that are small beside the clique into which they are multiplied: multiplied once, in
// advance, they become one factor of each pass.
#pragma once

#include "inference/elimination/elimination_passes.h"

namespace tv {

class FactorGroups {
 public:
  FactorGroups(const EliminationTree& graph, EliminationFactors& factors, PassWriter& pass,
               EliminationSchedule& schedule)
      : graph_(graph),
        factors_(factors),
        pass_(pass),
        schedule_(schedule),
        position_of_(graph.nodes.size(), 0) {}

  // Replaces factors by their products of at most so many entries, laid out in the order of the clique.
  void join(std::vector<uint32_t>& factors, std::span<const uint32_t> order, size_t most_entries);

 private:
  // Some of the factors, and their variables as positions in the order of the clique.
  struct Group {
    uint64_t members;
    size_t size;
    size_t count;  // of factors
  };

  size_t size_of_union(const Group& a, const Group& b) const noexcept;
  bool join_closest(size_t most_entries) noexcept;
  void form_products(std::vector<uint32_t>& factors);
  uint32_t form(size_t group, const std::vector<uint32_t>& factors, size_t numbers);

  const EliminationTree& graph_;
  EliminationFactors& factors_;
  PassWriter& pass_;
  EliminationSchedule& schedule_;
  std::span<const uint32_t> order_;
  std::vector<uint32_t> position_of_;  // by rank
  std::vector<Group> groups_;
  std::vector<size_t> group_of_;  // by factor
  std::vector<uint32_t> joined_, parts_, ranks_;
};

}  // namespace tv
