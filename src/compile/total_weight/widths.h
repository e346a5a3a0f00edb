// The widths of vertex sets for which the search is compiled.
#pragma once

#include "compile/total_weight/vertex_bits.h"

// clang-format off
#define TARVO_FOR_ALL_WIDTHS(X) X(1) X(2) X(4) X(8) X(16) X(kAnyWidth)
// clang-format on

namespace tv {

// Calls `run` with the narrowest width, as an integral constant, that holds so many vertices.
template <class Run>
auto with_width(size_t vertex_count, Run run) {
  if (vertex_count <= 64) return run(std::integral_constant<size_t, 1>());
  if (vertex_count <= 128) return run(std::integral_constant<size_t, 2>());
  if (vertex_count <= 256) return run(std::integral_constant<size_t, 4>());
  if (vertex_count <= 512) return run(std::integral_constant<size_t, 8>());
  if (vertex_count <= 1024) return run(std::integral_constant<size_t, 16>());
  return run(std::integral_constant<size_t, kAnyWidth>());
}

}  // namespace tv
