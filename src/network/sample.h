// One configuration of the nodes of a domain, drawn at random.
#pragma once

#include <cstddef>
#include <vector>

namespace tv {

// By node number - 1.
struct Sample {
  std::vector<size_t> states;            // of discrete nodes
  std::vector<double> values;            // of continuous nodes, real-valued functions and utilities
  std::vector<unsigned char> has_value;  // those that have one

  bool empty() const noexcept { return states.empty(); }
};

}  // namespace tv
