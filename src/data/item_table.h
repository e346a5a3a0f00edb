// The distinct items of one column, each with a code, in the order in which they came. The texts stand one
// after another in a few large chunks and stay where they are; looking one up takes a hash table, which is
// there only while items are being added.
#pragma once

#include <string_view>

#include "data/code_list.h"

namespace tv {

inline constexpr Code kRefusedCode = 0xFFFFFFFF;

// Whether a text can be an item: UTF-8 without null characters. `at`: where it is not.
bool is_item_text(std::string_view text, size_t* at = nullptr) noexcept;

class ItemTable {
 public:
  explicit ItemTable(MemoryBudget& budget) noexcept;

  // Codes of items are 1 to size().
  Code size() const noexcept { return static_cast<Code>(texts_.size()); }
  // With a null character behind it; null for the code of missing items.
  const char* text(Code code) const noexcept { return code == kMissingCode ? nullptr : texts_[code - 1]; }

  // The code of a text, which is added if it is new. One that can be no item (see is_item_text) is not added:
  // kRefusedCode.
  Code code_of(std::string_view text) { return code_of(text, hash_of(text)); }

  // The same in steps, for many texts at a time: each step asks memory for what the next one reads.
  uint32_t hash_of(std::string_view text) const noexcept;
  void expect_slot(uint32_t hash) const noexcept { __builtin_prefetch(slots_.data() + place_of(hash)); }
  void expect_address(uint32_t hash) const noexcept {
    if (const Code code = slots_[place_of(hash)].code) __builtin_prefetch(texts_.data() + code - 1);
  }
  void expect_text(uint32_t hash) const noexcept {
    if (const Code code = slots_[place_of(hash)].code) __builtin_prefetch(texts_[code - 1]);
  }
  Code code_of(std::string_view text, uint32_t hash);

  void seal();  // frees what only additions need
  void swap(ItemTable& other) noexcept;

 private:
  struct Slot {
    uint32_t hash;
    Code code;  // kMissingCode: the slot is free
  };

  size_t place_of(uint32_t hash) const noexcept { return hash & (slots_.size() - 1); }
  Slot& slot_of(std::string_view text, uint32_t hash) noexcept;
  void make_slots();
  const char* store(std::string_view text);

  CountedVector<const char*> texts_;
  CountedVector<CountedVector<char>> chunks_;  // never grown, only filled
  CountedVector<Slot> slots_;                  // a power of two of them, or none
  size_t stored_ = 0;                          // bytes in chunks
};

}  // namespace tv
