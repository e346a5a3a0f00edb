// The codes of one column, a number for each row: 0 where the item is missing, otherwise that of the item
// among the distinct ones. They take one, two or four bytes each, whatever the largest needs.
#pragma once

#include <cstdint>
#include <type_traits>

#include "data/memory_budget.h"

namespace tv {

using Code = uint32_t;
inline constexpr Code kMissingCode = 0;

class CodeList {
 public:
  explicit CodeList(MemoryBudget& budget) noexcept : bytes_(CountedAllocator<uint8_t>(budget)) {}
  CodeList(MemoryBudget& budget, const CodeList& other)
      : bytes_(other.bytes_, CountedAllocator<uint8_t>(budget)), shift_(other.shift_) {}
  CodeList(const CodeList&) = delete;
  CodeList& operator=(CodeList&&) = default;

  size_t size() const noexcept { return bytes_.size() >> shift_; }

  // `visit` is called with a pointer to the first of size() codes, each a uint8_t, uint16_t or uint32_t.
  template <class Visit>
  decltype(auto) visit(Visit visit) const {
    if (shift_ == 0) return visit(bytes_.data());
    if (shift_ == 1) return visit(reinterpret_cast<const uint16_t*>(bytes_.data()));
    return visit(reinterpret_cast<const uint32_t*>(bytes_.data()));
  }

  Code operator[](size_t row) const noexcept {
    return visit([row](const auto* codes) -> Code { return codes[row]; });
  }

  void make_room_for(Code code);                     // so that `set` with it cannot fail
  void make_room(size_t more_rows);                  // so that `insert` of so many cannot fail
  void set(size_t row, Code code) noexcept;          // where there is room for it
  void append(const Code* codes, size_t count);      // in any width
  void insert(size_t first, size_t count) noexcept;  // missing ones
  void erase(size_t first, size_t count) noexcept;
  void shrink();

  // Puts the codes into another order of rows; there is room for one word of `room` for each row.
  void reorder(const size_t* order, size_t* room) noexcept;

  // Puts `codes[old_code]` in the place of every code. They must fit the present width.
  void recode(const Code* codes) noexcept;

 private:
  template <class Visit>
  void change(Visit visit) noexcept {
    const_cast<const CodeList*>(this)->visit([&](const auto* codes) {
      visit(const_cast<std::remove_const_t<std::remove_pointer_t<decltype(codes)>>*>(codes));
    });
  }

  CountedVector<uint8_t> bytes_;
  unsigned shift_ = 0;  // the width of a code is 1 << shift_ bytes
};

}  // namespace tv
