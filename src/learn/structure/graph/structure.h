// The record of a structure: a graph over named nodes, and what was found out about each pair of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "learn/structure/graph/knowledge.h"

namespace tv {

// A node of a structure; it belongs to no domain.
struct StructureNode {
  std::string name;
  size_t hidden_states = 0;  // 0: not hidden

  bool operator==(const StructureNode&) const = default;
};

// What tests found out about pairs of nodes.
struct PairFindings {
  // The place of a pair among all pairs of different nodes, in whatever order they are given.
  static size_t place(size_t a, size_t b) noexcept {
    const size_t high = a > b ? a : b;
    return high * (high - 1) / 2 + (a > b ? b : a);
  }

  std::vector<double> p_values;                 // negative where a pair was not tested; empty without tests
  std::vector<std::vector<size_t>> separators;  // ascending
  std::vector<bool> is_separated;
  size_t tests = 0, refused_tests = 0;
};

}  // namespace tv

struct tv_structure_s {
  std::vector<tv::StructureNode> nodes;  // in the order of the bytes of their names
  tv::PartialGraph graph;
  tv::Knowledge knowledge;  // that holds where links are directed; of size 0 where there is none
  tv::PairFindings findings;
  std::optional<double> score;
  bool is_finished = true;
};

namespace tv {

using Structure = tv_structure_s;

}  // namespace tv
