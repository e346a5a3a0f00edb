// Counting rows by sets of bits: a word has a bit for each of 64 rows. The fastest kernels that run here are
// chosen once; all of them count the same.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tv {

struct BitKernels {
  const char* name;
  double cycles_of_word;  // that a count takes, roughly
  // How many bits both have.
  size_t (*count_common)(const uint64_t* a, const uint64_t* b, size_t words);
  // Writes the bits that both have to `common`, and counts them.
  size_t (*intersect)(const uint64_t* a, const uint64_t* b, uint64_t* common, size_t words);
};

const BitKernels& bit_kernels() noexcept;

// All that this processor can run, slowest first, null-terminated.
const BitKernels* const* available_bit_kernels() noexcept;

}  // namespace tv
