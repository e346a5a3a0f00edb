// The way of cells into a column while a text is read: cells that came shortly before are found in a small
// cache by their bytes, and codes are handed to the column many at a time. Where a column has so many items
// that each look-up waits for memory, the cells wait together, and memory is asked for all of them at once.
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
      : column_(&column),
        missing_(&missing),
        codes_(codes),
        recent_(recent),
        cache_shift_(64 - cache_bits),
        waiting_(column.name.get_allocator()),
        waiting_texts_(column.name.get_allocator()) {}

  // False if the text can be no item; see is_item_text.
  bool put(size_t row, const char* text, size_t length) {
    if (length > kLongestKey) return look_up(row, {text, length}, nullptr);
    const RecentItem key = key_of(text, length);
    RecentItem& recent = recent_[place_of(key)];
    if (recent.low != key.low || recent.high != key.high) return look_up(row, {text, length}, &recent);
    codes_[row] = recent.code;
    return true;
  }
  // The same for a text that was quoted, which is an item whatever it says.
  bool put_quoted(size_t row, std::string_view text) { return look_up_item(row, text, nullptr); }

  void flush(size_t rows);  // into the column

 private:
  static constexpr size_t kLongestKey = 15;

  // A cell whose item is looked up later.
  struct Waiting {
    size_t row;
    size_t begin, length;  // in the texts
    uint32_t hash;
  };

  // The bytes of a short text and, in the last one, its length.
  static RecentItem key_of(const char* text, size_t length) noexcept {
    uint64_t first, second;
    std::memcpy(&first, text, sizeof first);
    std::memcpy(&second, text + sizeof first, sizeof second);
    const uint64_t all = ~uint64_t{0};
    const uint64_t low = length >= 8 ? all : ~(all << (8 * length));
    const uint64_t high = length > 8 ? ~(all << (8 * (length - 8))) : 0;
    return {first & low, (second & high) | static_cast<uint64_t>(length) << 56};
  }
  size_t place_of(const RecentItem& key) const noexcept {
    return ((key.low ^ std::rotl(key.high, 29)) * 0x9E3779B97F4A7C15) >> cache_shift_;
  }

  // The code is put into the cache, too, where there is a place for it.
  bool look_up(size_t row, std::string_view text, RecentItem* recent);
  bool look_up_item(size_t row, std::string_view text, RecentItem* recent);
  void remember(std::string_view text, Code code, RecentItem* recent) noexcept;
  bool wait(size_t row, std::string_view text);
  void end_waiting();

  DataColumn* column_;
  const MissingTexts* missing_;
  Code* codes_;
  RecentItem* recent_;
  unsigned cache_shift_;
  CountedVector<Waiting> waiting_;
  CountedVector<char> waiting_texts_;
};

}  // namespace tv
