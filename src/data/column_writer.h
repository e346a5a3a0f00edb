// The way of cells into a column while a text is read: cells that came shortly before are found in a small
// cache by their bytes, and codes are handed to the column many at a time.
#pragma once

#include <bit>
#include <cstring>

#include "data/data_set.h"

namespace tv {

// Short texts that came last, by their bytes.
struct RecentItem {
  uint64_t low = 0, high = ~uint64_t{0};  // at first of no text
  Code code = kMissingCode;
};

class ColumnWriter {
 public:
  static constexpr size_t kReadable = 16;  // bytes from the first of a cell that may be looked at

  // `codes` holds those of the rows that wait; there are 1 << cache_bits recent items.
  ColumnWriter(DataColumn& column, const MissingTexts& missing, Code* codes, RecentItem* recent,
               unsigned cache_bits) noexcept
      : column_(&column), missing_(&missing), codes_(codes), recent_(recent), cache_shift_(64 - cache_bits) {}

  // False if the text can be no item; see is_item_text.
  bool put(size_t row, const char* text, size_t length) {
    if (length > kLongestKey) return keep(row, code_of(text, length));
    const Key key = key_of(text, length);
    RecentItem& recent = recent_[place_of(key)];
    if (recent.low == key.low && recent.high == key.high) {
      codes_[row] = recent.code;
      return true;
    }
    const Code code = code_of(text, length);
    if (code != kRefusedCode) recent = {key.low, key.high, code};
    return keep(row, code);
  }
  // The same for a text that was quoted, which is an item whatever it says.
  bool put_quoted(size_t row, std::string_view text) { return keep(row, column_->items.code_of(text)); }

  void flush(size_t rows) { column_->codes.append(codes_, rows); }

 private:
  static constexpr size_t kLongestKey = 15;

  // The bytes of a short text and, in the last one, its length.
  struct Key {
    uint64_t low, high;
  };

  static Key key_of(const char* text, size_t length) noexcept {
    Key key;
    std::memcpy(&key, text, sizeof key);
    const uint64_t all = ~uint64_t{0};
    const uint64_t low = length >= 8 ? all : ~(all << (8 * length));
    const uint64_t high = length > 8 ? ~(all << (8 * (length - 8))) : 0;
    return {key.low & low, (key.high & high) | static_cast<uint64_t>(length) << 56};
  }
  size_t place_of(Key key) const noexcept {
    return ((key.low ^ std::rotl(key.high, 29)) * 0x9E3779B97F4A7C15) >> cache_shift_;
  }

  bool keep(size_t row, Code code) noexcept {
    codes_[row] = code;
    return code != kRefusedCode;
  }
  Code code_of(const char* text, size_t length) {
    const std::string_view item(text, length);
    return missing_->contain(item) ? kMissingCode : column_->items.code_of(item);
  }
  static_assert(sizeof(Key) == kReadable);

  DataColumn* column_;
  const MissingTexts* missing_;
  Code* codes_;
  RecentItem* recent_;
  unsigned cache_shift_;
};

}  // namespace tv
