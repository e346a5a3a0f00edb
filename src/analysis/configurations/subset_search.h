// The most probable configurations of some nodes, with all others summed out, by branch and bound: depth
// first, the most promising state first, with nothing assumed about the order.
#pragma once

#include <memory>

#include "analysis/configurations/configurations.h"
#include "network/progress.h"

namespace tv {

// For a node that is next to get a state: for each of its states, no configuration that goes on with it is
// more probable. When the last node has got one, the bound is the probability.
class ConfigurationBounds {
 public:
  virtual ~ConfigurationBounds() = default;
  // The open ones among the nodes asked for, in the order in which they get their states.
  virtual const std::vector<const Node*>& nodes() const noexcept = 0;
  // The logarithms for the states of node number `depth`; those before it have their states.
  virtual tv_status_t bound(size_t depth, std::vector<double>& log_bounds) = 0;
  virtual tv_status_t assign(size_t depth, size_t state) = 0;
  virtual void unassign(size_t depth) = 0;
};

// Bounds from the tree: sums and maxima are exchanged where that lets them stay within cliques, which makes
// the result no smaller (Park and Darwiche 2003). With continuous nodes: what the states assigned so far make
// of the probability of each further one. Null with the status stored.
std::unique_ptr<ConfigurationBounds> make_tree_bounds(const Domain& domain,
                                                      const std::vector<const Node*>& nodes);
std::unique_ptr<ConfigurationBounds> make_query_bounds(Domain& domain, const std::vector<const Node*>& nodes);

struct SubsetRequest {
  size_t most = 0;               // configurations
  double least_probability = 0;  // of each, given the evidence
  size_t max_steps = 0;          // states that are assigned; 0: no limit
};

// Adds what is found to `result`, best first.
tv_status_t search_subset(ConfigurationBounds& bounds, const SubsetRequest& request, ProgressMeter& progress,
                          Configurations& result);

}  // namespace tv
