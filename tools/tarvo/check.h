// What `tarvo check` finds in a network.
#pragma once

#include <string>
#include <vector>

#include "network.h"
#include "triangulation.h"

namespace program {

enum class Severity { kError, kWarning, kNote };

// Something about the network that may not be as it was meant.
struct Remark {
  Severity severity;
  std::string kind;       // "sum", "duplicate_label", ...: for programs
  std::string certainty;  // "certain", or "likely" where rounding may play a part
  std::string node;       // empty where it is about no single node
  std::string text;
};
using Remarks = std::vector<Remark>;

// Distributions, labels and links, each looked at by itself.
void check_tables(const Network& network, Remarks& remarks);
void check_labels(const Network& network, Remarks& remarks);
void check_links(const Network& network, Remarks& remarks);

// Whether the network compiles, and which states can ever be.
void check_by_propagation(const Network& network, const TriangulationOptions& options, Remarks& remarks);

}  // namespace program
