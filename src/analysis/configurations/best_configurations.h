// The most probable configurations of all discrete nodes, best first, from one collection of maxima.
//
// Each message of that collection tells the best value of a subtree for a configuration of its separator. The
// next best ones are found when they are asked for: for a clique and a configuration of its separator, ways
// to go on (an entry of the clique, and a rank for each child) wait in a heap; whoever takes the best of
// them adds those that differ from it in the next rank of one child. So a further configuration costs about
// one path through the tree (Nilsson 1998; Huang and Chiang 2005).
#pragma once

#include <compare>
#include <cstdint>
#include <unordered_map>

#include "analysis/factors/factor_passes.h"

namespace tv {

class BestConfigurations {
 public:
  // The numbers of the forest are logarithms, and `best` its collected maxima. At most `most` are asked for.
  BestConfigurations(const FactorForest& forest, const FactorMessages& best, size_t most);

  // Whether there is another configuration that is possible.
  bool next();

  // Of the one found last: the logarithm of its weight, and the states of open nodes by node number - 1.
  // Always the same vector is to be given: it keeps what is as in the one read before.
  double log_weight() const noexcept;
  void read(std::vector<uint32_t>& states);

 private:
  // A way to go on: an entry of the clique, and the ranks of what its children go on with, in the order of
  // the children; those of rank 0 are left out.
  struct Rank {
    uint32_t child, rank;
    auto operator<=>(const Rank&) const = default;
  };
  struct Way {
    double value;
    size_t entry;
    std::vector<Rank> ranks;
  };
  struct WorseWay {
    bool operator()(const Way& a, const Way& b) const noexcept;
  };
  // What is known of one row of a clique.
  struct Row {
    uint32_t clique = 0;
    size_t first_entry = 0;    // in the clique
    std::vector<Way> found;    // best first
    std::vector<Way> waiting;  // a heap
    size_t next_child = 0;     // whose next rank is still to be added to the last one found

    bool is_exhausted(const FactorForest& forest) const noexcept;
  };

  // The rows of a clique by themselves, as far as their separator leaves them open.
  struct RowPlan {
    explicit RowPlan(const FactorClique& clique);
    OwnShape shape;
    std::deque<OwnIndexMap> maps;  // of its factors, then of its children
  };

  uint32_t row_of(uint32_t clique, size_t separator_entry);
  void fill(Row& row);
  void keep_best(Row& row);
  bool find(uint32_t row, size_t rank);
  bool add_neighbors(Row& row, std::pair<uint32_t, size_t>& wanted);

  const FactorForest& forest_;
  const FactorMessages& best_;
  const size_t most_;
  size_t found_ = 0;
  std::deque<Row> rows_;
  std::vector<std::unordered_map<size_t, uint32_t>> rows_by_entry_;  // by clique: of its separator
  std::vector<std::unique_ptr<RowPlan>> plans_;                      // by clique; null until there is a row
  std::vector<std::pair<uint32_t, size_t>> last_read_;               // by clique: the row, and its rank
};

}  // namespace tv
