// The number of bits that are set in a word.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tv {

// The compiler calls a function where it must not use the instruction.
inline size_t bit_count(std::uint64_t bits) noexcept {
  bits -= (bits >> 1) & 0x5555555555555555;
  bits = (bits & 0x3333333333333333) + ((bits >> 2) & 0x3333333333333333);
  bits = (bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0f;
  return static_cast<size_t>((bits * 0x0101010101010101) >> 56);
}

}  // namespace tv
