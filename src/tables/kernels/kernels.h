// The arithmetic between a table and a smaller one, as loop nests over merged dimensions.
// One source of loops is compiled for several instruction sets, some of which bring rows of their own; the
// fastest that runs here is chosen once. All of them give the same bits: sums run over a fixed number of
// lanes that are added in a fixed order, whatever the width of a vector.
#pragma once

#include <cstddef>

namespace tv {

// One loop of a nest: `stride` is the stride in the larger table, `stride2` that in the other one (0 where
// the other table lacks the node).
struct Dimension {
  size_t count;
  size_t stride;
  size_t stride2;
};

struct FusedProduct;  // tables/kernels/fused_product.h
struct PositionList;  // tables/kernels/index_map.h

// What dividing a separator's new marginal by the old one has found.
struct RatioResult {
  double sum;
  double largest;
  bool lost_entry;  // an old positive entry has a new one that is not positive
};

// Loop nests list their dimensions outermost first; `count` may be 0 for a single entry.
struct Kernels {
  const char* name;
  // table[i] = other[i'] and *= of the entry of the other table onto which i maps
  void (*assign)(const Dimension* nest, size_t count, float* table, const float* other);
  void (*multiply)(const Dimension* nest, size_t count, float* table, const float* other);
  // other[i'] += table[i] (times a weight), and the maximum
  void (*sum)(const Dimension* nest, size_t count, const float* table, double* other);
  void (*weighted_sum)(const Dimension* nest, size_t count, const float* table, double* other, double weight);
  void (*max)(const Dimension* nest, size_t count, const float* table, double* other);
  void (*weighted_max)(const Dimension* nest, size_t count, const float* table, double* other, double weight);
  // ratio = fresh / old where old is positive, else 0; then old = fresh. The second form, for a separator
  // without an old marginal, takes the ratio to be the fresh marginal itself.
  RatioResult (*divide)(const double* fresh, float* old, float* ratio, size_t size);
  RatioResult (*take)(const double* fresh, float* old, float* ratio, size_t size);
  void (*scale)(float* values, size_t size, double factor);
  // table[i] = (or *=) the product of the entries of all factors onto which i maps
  void (*form)(const FusedProduct& fused, float* table, const float* const* others);
  // table[i] *= other[position of entry first + i], along a list that has no runs
  void (*multiply_at)(const PositionList& list, size_t first, size_t count, float* table, const float* other);
};

// The kernels in use. TARVO_KERNELS=baseline|avx2|avx512 in the environment, read once, forces those of one
// instruction set that this processor can run; 64-bit ARM has the baseline alone.
const Kernels& kernels() noexcept;

// All that this processor can run, slowest first, null-terminated; and a way for tests to force one.
const Kernels* const* available_kernels() noexcept;
void use_kernels(const Kernels& chosen) noexcept;

}  // namespace tv
