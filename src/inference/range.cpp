#include "inference/range.h"

#include <algorithm>
#include <cmath>

namespace tv {
namespace {

constexpr double kSmallestExponent = -126.0;  // of a normal number

}  // namespace

// Any entry may be one that underflowed.
double lost_share_of(const TreeEngine& engine) noexcept {
  size_t largest = 1;
  for (const CliqueWork& work : engine.cliques) largest = std::max(largest, work.table.shape.size);
  return kSmallestExponent + std::log2(static_cast<double>(largest));
}

}  // namespace tv
