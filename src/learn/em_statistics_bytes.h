// Words of saved statistics.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tv {

inline constexpr size_t kWordSize = 8;

inline uint64_t word_at(const unsigned char* bytes) noexcept {
  uint64_t word = 0;
  for (size_t i = 0; i < kWordSize; ++i) word |= uint64_t{bytes[i]} << 8 * i;
  return word;
}

// Of so many bytes, whole words; any change of a word changes it.
inline uint64_t sum_of_words(const unsigned char* bytes, size_t size) noexcept {
  uint64_t sum = size;
  for (size_t i = 0; i < size; i += kWordSize) {
    sum = (sum ^ word_at(bytes + i)) * 0x9e3779b97f4a7c15;
    sum ^= sum >> 29;
  }
  return sum;
}

}  // namespace tv
