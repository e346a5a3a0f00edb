#include "data/code_list.h"

#include <algorithm>

namespace tv {
namespace {

unsigned shift_for(Code code) noexcept { return code <= 0xFF ? 0 : code <= 0xFFFF ? 1 : 2; }

}  // namespace

// Built aside, so that a failure leaves the codes as they were.
void CodeList::make_room_for(Code code) {
  const unsigned shift = shift_for(code);
  if (shift <= shift_) return;
  CountedVector<uint8_t> wider(bytes_.get_allocator());
  const size_t capacity = bytes_.capacity() >> shift_;
  wider.reserve(size_multiply(capacity, size_t{1} << shift));
  wider.resize(size() << shift);
  visit([&](const auto* codes) {
    if (shift == 1)
      std::copy(codes, codes + size(), reinterpret_cast<uint16_t*>(wider.data()));
    else
      std::copy(codes, codes + size(), reinterpret_cast<uint32_t*>(wider.data()));
  });
  bytes_.swap(wider);
  shift_ = shift;
}

void CodeList::make_room(size_t more_rows) {
  const size_t needed = size_multiply(size_add(size(), more_rows), size_t{1} << shift_);
  if (needed <= bytes_.capacity()) return;
  bytes_.reserve(std::max(needed, size_multiply(bytes_.capacity(), 2)));
}

void CodeList::set(size_t row, Code code) noexcept {
  change([&](auto* codes) { codes[row] = static_cast<std::remove_pointer_t<decltype(codes)>>(code); });
}

void CodeList::append(const Code* codes, size_t count) {
  Code highest = 0;
  for (size_t i = 0; i < count; ++i) highest |= codes[i];
  make_room_for(highest);
  make_room(count);
  const size_t before = size();
  bytes_.resize((before + count) << shift_);
  change([&](auto* own) {
    for (size_t i = 0; i < count; ++i)
      own[before + i] = static_cast<std::remove_pointer_t<decltype(own)>>(codes[i]);
  });
}

void CodeList::insert(size_t first, size_t count) noexcept {
  bytes_.insert(bytes_.begin() + static_cast<ptrdiff_t>(first << shift_), count << shift_, uint8_t{0});
}

void CodeList::erase(size_t first, size_t count) noexcept {
  const auto from = bytes_.begin() + static_cast<ptrdiff_t>(first << shift_);
  bytes_.erase(from, from + static_cast<ptrdiff_t>(count << shift_));
}

void CodeList::shrink() {
  if (bytes_.capacity() != bytes_.size()) bytes_.shrink_to_fit();
}

void CodeList::reorder(const size_t* order, size_t* room) noexcept {
  change([&](auto* own) {
    for (size_t row = 0; row < size(); ++row) room[row] = own[order[row]];
    for (size_t row = 0; row < size(); ++row)
      own[row] = static_cast<std::remove_pointer_t<decltype(own)>>(room[row]);
  });
}

void CodeList::recode(const Code* codes) noexcept {
  change([&](auto* own) {
    for (size_t row = 0; row < size(); ++row)
      own[row] = static_cast<std::remove_pointer_t<decltype(own)>>(codes[own[row]]);
  });
}

}  // namespace tv
