// The skeleton of a structure by tests: links are removed between nodes that are independent given some of
// their neighbours, for larger and larger sets of them. The neighbours are those at the start of each round,
// so that the order of tests makes no difference (Colombo and Maathuis 2014).
#pragma once

#include <limits>

#include "learn/structure/independence/independence.h"
#include "network/progress.h"

namespace tv {

struct SkeletonSearch {
  const LearningProblem& problem;
  const IndependenceTest& test;
  std::vector<bool> is_discrete;  // by node
  size_t threads = 1;
  // Tests of discrete nodes with more degrees of freedom are refused; states by node, which are not needed
  // where there is no limit.
  double most_degrees = std::numeric_limits<double>::infinity();
  std::vector<size_t> states = {};
};

// Leaves undirected links in the structure and says what was found out about each pair.
tv_status_t find_skeleton(const SkeletonSearch& search, ProgressMeter& progress, Structure& structure);

// Which nodes may help to separate the two: neighbours of either that are not in a later tier than both, and
// discrete ones where both are discrete, since these have discrete parents alone.
std::vector<uint32_t> separating_candidates(const SkeletonSearch& search, const PartialGraph& graph,
                                            size_t of, size_t other);

// Takes out the candidates with so many states that every test of the two given `size` nodes would be refused
// that has one of these among them, whatever the others are: their subsets are not even looked at. Whether
// there were any.
bool leave_out_refused(const SkeletonSearch& search, std::vector<uint32_t>& candidates, size_t size, size_t a,
                       size_t b);

// Calls visit(subset) for each subset of `size` of the candidates, those of the first ones first, until it
// returns true. Whether it did.
template <class Visit>
bool any_subset(const std::vector<uint32_t>& candidates, size_t size, Visit visit) {
  if (size > candidates.size()) return false;
  std::vector<size_t> places(size);
  std::vector<uint32_t> subset(size);
  for (size_t i = 0; i < size; ++i) places[i] = i;
  for (;;) {
    for (size_t i = 0; i < size; ++i) subset[i] = candidates[places[i]];
    if (visit(subset)) return true;
    size_t last = size;
    while (last > 0 && places[last - 1] == candidates.size() - size + last - 1) --last;
    if (last == 0) return false;
    ++places[last - 1];
    for (size_t i = last; i < size; ++i) places[i] = places[i - 1] + 1;
  }
}

}  // namespace tv
