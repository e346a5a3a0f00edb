// What an item may hold: UTF-8 as far as it can be told from the bytes, without null characters.

#include "data/item_table.h"

namespace tv {
namespace {

// The length of the well-formed character at `c`; 0 if there is none. Shortest forms only, no surrogates,
// nothing above U+10FFFF.
size_t character_length(const unsigned char* c, size_t left) noexcept {
  const auto continues = [&](size_t i, unsigned from = 0x80, unsigned to = 0xBF) {
    return i < left && c[i] >= from && c[i] <= to;
  };
  if (c[0] < 0x80) return c[0] != 0;
  if (c[0] >= 0xC2 && c[0] <= 0xDF) return continues(1) ? 2 : 0;
  if (c[0] >= 0xE0 && c[0] <= 0xEF) {
    const unsigned from = c[0] == 0xE0 ? 0xA0 : 0x80, to = c[0] == 0xED ? 0x9F : 0xBF;
    return continues(1, from, to) && continues(2) ? 3 : 0;
  }
  if (c[0] >= 0xF0 && c[0] <= 0xF4) {
    const unsigned from = c[0] == 0xF0 ? 0x90 : 0x80, to = c[0] == 0xF4 ? 0x8F : 0xBF;
    return continues(1, from, to) && continues(2) && continues(3) ? 4 : 0;
  }
  return 0;
}

}  // namespace

bool is_item_text(std::string_view text, size_t* at) noexcept {
  const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  for (size_t i = 0; i < text.size();) {
    const size_t length = character_length(bytes + i, text.size() - i);
    if (length == 0) {
      if (at) *at = i;
      return false;
    }
    i += length;
  }
  return true;
}

}  // namespace tv
