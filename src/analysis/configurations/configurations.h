// Configurations that were found, best first. They do not depend on the domain any longer.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "network/node.h"

struct tv_configurations_s {
  std::unordered_map<const tv::Node*, size_t> columns;  // of the nodes asked for; only compared
  std::vector<uint32_t> states;                         // by configuration, then by column
  std::vector<double> log_probabilities;                // given the evidence
  bool is_complete = true;                              // nothing that was asked for is missing
  double bound = 0.0;  // no configuration that is not listed is more probable

  size_t size() const noexcept { return log_probabilities.size(); }
};

namespace tv {

using Configurations = tv_configurations_s;

}  // namespace tv
