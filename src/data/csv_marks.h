// Where the cells of a CSV text may end: the separators, line ends and quotation marks among 64 bytes, as the
// bits of one word.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tv {

static_assert(std::endian::native == std::endian::little, "the first byte is the lowest of a word");

inline constexpr size_t kMarkBlock = 64;

// Eight bytes at a time, for every processor.
inline uint64_t csv_marks_plain(const char* block, char separator) noexcept {
  constexpr uint64_t ones = 0x0101010101010101, low = 0x7F7F7F7F7F7F7F7F;
  const auto zeros = [](uint64_t word) { return ~(((word & low) + low) | word | low); };  // 0x80 in each
  uint64_t marks = 0;
  for (unsigned i = 0; i < 8; ++i) {
    uint64_t word;
    std::memcpy(&word, block + 8 * i, 8);
    const uint64_t found = zeros(word ^ ones * static_cast<unsigned char>(separator)) |
                           zeros(word ^ ones * '"') | zeros(word ^ ones * '\n') | zeros(word ^ ones * '\r');
    marks |= ((found >> 7) * 0x0102040810204080 >> 56) << (8 * i);  // one bit of each byte, side by side
  }
  return marks;
}

#if defined(__SSE2__)

inline uint64_t csv_marks(const char* block, char separator) noexcept {
  const __m128i separators = _mm_set1_epi8(separator), quotes = _mm_set1_epi8('"'),
                feeds = _mm_set1_epi8('\n'), returns = _mm_set1_epi8('\r');
  uint64_t marks = 0;
  for (unsigned i = 0; i < 4; ++i) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block + 16 * i));
    const __m128i found =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, separators), _mm_cmpeq_epi8(bytes, quotes)),
                     _mm_or_si128(_mm_cmpeq_epi8(bytes, feeds), _mm_cmpeq_epi8(bytes, returns)));
    marks |= static_cast<uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(found))) << (16 * i);
  }
  return marks;
}

#else

inline uint64_t csv_marks(const char* block, char separator) noexcept {
  return csv_marks_plain(block, separator);
}

#endif

}  // namespace tv
