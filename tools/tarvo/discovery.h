// What tarvo discover has found, and how it is shown.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "discover.h"

namespace program {

struct DeleteStructure {
  void operator()(tv_structure_t* structure) const { tv_structure_delete(structure); }
};
using Structure = std::unique_ptr<tv_structure_t, DeleteStructure>;

struct DeleteBootstrap {
  void operator()(tv_bootstrap_t* bootstrap) const { tv_bootstrap_delete(bootstrap); }
};
using Bootstrap = std::unique_ptr<tv_bootstrap_t, DeleteBootstrap>;

struct Discovery {
  Structure structure;  // as it was learned; links may have no direction
  Structure directed;   // as it is written
  Bootstrap bootstrap;  // null where there is none
  std::optional<Scores> scores;
  std::optional<std::pair<double, double>> errors;  // of a classifier before and after it was tuned
  size_t cases = 0;
  std::vector<std::string> hidden;  // nodes that the method has added
};

void report(const Discovery& discovery, const DiscoverOptions& options);

}  // namespace program
