#include "data/item_table.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tv {
namespace {

constexpr size_t kFirstChunk = 256, kLargestChunk = size_t{1} << 20;
constexpr size_t kFirstSlots = 16;
constexpr size_t kMostItems = 0xFFFFFFFE;

// Both halves of the product of two words (as in wyhash, Wang Yi 2019): every bit depends on every other.
uint64_t mix(uint64_t a, uint64_t b) noexcept {
  const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

}  // namespace

ItemTable::ItemTable(MemoryBudget& budget) noexcept
    : texts_(CountedAllocator<const char*>(budget)),
      chunks_(CountedAllocator<CountedVector<char>>(budget)),
      slots_(CountedAllocator<Slot>(budget)) {}

// Where the data set lies is part of the hash, so that no file can be made whose items all collide.
uint32_t ItemTable::hash_of(std::string_view text) const noexcept {
  constexpr uint64_t k1 = 0xA0761D6478BD642F, k2 = 0xE7037ED1A0B428DB;
  uint64_t hash = text.size() ^ reinterpret_cast<uintptr_t>(&texts_.get_allocator().budget());
  const char* from = text.data();
  size_t left = text.size();
  for (; left >= 8; left -= 8, from += 8) {
    uint64_t word;
    std::memcpy(&word, from, 8);
    hash = mix(hash ^ k1, word ^ k2);
  }
  uint64_t word = 0;
  std::memcpy(&word, from, left);
  return static_cast<uint32_t>(mix(hash ^ k1, word ^ k2));
}

// The slot of the text, or the free one that it would take.
ItemTable::Slot& ItemTable::slot_of(std::string_view text, uint32_t hash) noexcept {
  const size_t mask = slots_.size() - 1;
  for (size_t i = place_of(hash);; i = (i + 1) & mask) {
    Slot& slot = slots_[i];
    if (slot.code == kMissingCode || (slot.hash == hash && text == this->text(slot.code))) return slot;
  }
}

// Enough slots for one item more, at most three of four of them taken.
void ItemTable::make_slots() {
  if ((texts_.size() + 1) * 4 <= slots_.size() * 3) return;
  size_t count = std::max(slots_.size(), kFirstSlots);
  while (size_multiply(texts_.size() + 1, 4) > size_multiply(count, 3)) count = size_multiply(count, 2);
  CountedVector<Slot> slots(count, Slot{0, kMissingCode}, slots_.get_allocator());
  const auto put = [&](Slot slot) {
    size_t i = slot.hash & (count - 1);
    while (slots[i].code != kMissingCode) i = (i + 1) & (count - 1);
    slots[i] = slot;
  };
  if (slots_.empty()) {
    for (Code code = 1; code <= size(); ++code) put({hash_of(text(code)), code});
  } else {
    for (const Slot& slot : slots_)
      if (slot.code != kMissingCode) put(slot);
  }
  slots_.swap(slots);
}

const char* ItemTable::store(std::string_view text) {
  const size_t needed = size_add(text.size(), 1);
  if (chunks_.empty() || chunks_.back().capacity() - chunks_.back().size() < needed) {
    CountedVector<char> chunk(chunks_.get_allocator());
    chunk.reserve(std::max(needed, std::clamp(stored_ / 4, kFirstChunk, kLargestChunk)));
    chunks_.push_back(std::move(chunk));
  }
  CountedVector<char>& chunk = chunks_.back();
  const size_t begin = chunk.size();
  chunk.insert(chunk.end(), text.begin(), text.end());
  chunk.push_back('\0');
  stored_ += needed;
  return chunk.data() + begin;
}

// Texts are looked at once, when they are new.
Code ItemTable::code_of(std::string_view text, uint32_t hash) {
  make_slots();
  Slot& slot = slot_of(text, hash);
  if (slot.code) return slot.code;
  if (!is_item_text(text)) return kRefusedCode;
  if (texts_.size() == kMostItems) throw std::bad_alloc();
  texts_.push_back(store(text));
  slot = {hash, size()};
  return slot.code;
}

void ItemTable::seal() {
  CountedVector<Slot>(slots_.get_allocator()).swap(slots_);
  if (texts_.capacity() != texts_.size()) texts_.shrink_to_fit();
}

void ItemTable::swap(ItemTable& other) noexcept {
  texts_.swap(other.texts_);
  chunks_.swap(other.chunks_);
  slots_.swap(other.slots_);
  std::swap(stored_, other.stored_);
}

}  // namespace tv
