// Values near the data, about which the moments of continuous nodes are taken.
#pragma once

#include <cstdint>

#include "learn/families.h"

namespace tv {

class Origins {
 public:
  explicit Origins(const std::vector<Family>& families);

  // By family of a continuous node: the mean of the node in so many cases; NaN where none knows it.
  std::vector<double> means_of_cases(size_t first, size_t count) const;

  // Empty counts about these means; about what the present tables say where there is none.
  std::vector<FamilyCounts> counts_about(std::vector<double> means) const;

 private:
  struct Continuous {
    uint32_t family;
    std::vector<uint32_t> nodes;  // by their families: its own, then its continuous parents
  };

  const std::vector<Family>& families_;
  std::vector<Continuous> continuous_;  // parents first
};

}  // namespace tv
