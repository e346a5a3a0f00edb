// Chained hashing, with entries in one array and chains that fork. Nothing here throws: every allocation may
// be refused, and the caller then drops the table.
#include "network/name_table.h"

#include <algorithm>
#include <functional>
#include <new>

#include "api/memory.h"
#include "network/domain.h"

namespace tv {
namespace {

uint64_t fingerprint_of(std::string_view name) noexcept { return std::hash<std::string_view>{}(name); }

template <class T>
std::unique_ptr<T[]> try_allocate(size_t count) noexcept {
  if (count > static_cast<size_t>(-1) / 2 / sizeof(T)) return nullptr;
  return std::unique_ptr<T[]>(new (std::nothrow) T[count]);
}

bool is_prime(size_t number) noexcept {
  if (number < 2 || number % 2 == 0) return number == 2;
  for (size_t divisor = 3; divisor <= number / divisor; divisor += 2)
    if (number % divisor == 0) return false;
  return true;
}

}  // namespace

size_t smallest_prime_not_below(size_t number) noexcept {
  while (!is_prime(number)) ++number;
  return number;
}

std::unique_ptr<NameTable> NameTable::build(const Domain& domain) noexcept {
  std::unique_ptr<NameTable> table(new (std::nothrow) NameTable);
  if (!table || !table->set_length(domain.node_count)) return nullptr;
  for (Node& node : domain.nodes)
    if (node.has_name && !table->insert(node)) return nullptr;
  return table;
}

size_t NameTable::bucket_of(std::string_view name) const noexcept {
  size_t hash = 0;
  for (const char character : name) hash = (2 * hash + static_cast<unsigned char>(character)) % length_;
  return hash;
}

bool NameTable::set_length(size_t node_count) noexcept {
  const size_t length = smallest_prime_not_below(node_count);
  auto buckets = try_allocate<size_t>(length);
  if (!buckets) return false;
  std::fill_n(buckets.get(), length, kEnd);
  buckets_ = std::move(buckets);
  length_ = length;
  return true;
}

bool NameTable::has_room() noexcept {
  if (free_ != kEnd || used_ < capacity_) return true;
  const size_t capacity = std::max<size_t>(16, size_multiply(2, capacity_));
  auto entries = try_allocate<Entry>(capacity);
  if (!entries) return false;
  std::copy_n(entries_.get(), used_, entries.get());
  entries_ = std::move(entries);
  capacity_ = capacity;
  return true;
}

// Puts the entry, whose node is set, at the end of its chain.
void NameTable::hang_in(size_t index) noexcept {
  Entry& entry = entries_[index];
  entry.fingerprint = fingerprint_of(entry.node->name);
  entry.next[0] = entry.next[1] = kEnd;
  size_t* link = &buckets_[bucket_of(entry.node->name)];
  for (uint64_t bits = entry.fingerprint; *link != kEnd; bits >>= 1) link = &entries_[*link].next[bits & 1];
  *link = index;
}

bool NameTable::insert(Node& node) noexcept {
  if (!has_room()) return false;
  const size_t index = free_ != kEnd ? free_ : used_++;
  if (index == free_) free_ = entries_[index].next[0];
  entries_[index].node = &node;
  hang_in(index);
  return true;
}

bool NameTable::grow(size_t node_count) noexcept {
  buckets_.reset();
  if (!set_length(node_count)) return false;
  for (size_t index = 0; index < used_; ++index)
    if (entries_[index].node) hang_in(index);
  return true;
}

Node* NameTable::find(std::string_view name) const noexcept {
  const uint64_t fingerprint = fingerprint_of(name);
  uint64_t bits = fingerprint;
  for (size_t index = buckets_[bucket_of(name)]; index != kEnd; bits >>= 1) {
    const Entry& entry = entries_[index];
    if (entry.fingerprint == fingerprint && entry.node->name == name) return entry.node;
    index = entry.next[bits & 1];
  }
  return nullptr;
}

void NameTable::erase(const Node& node) noexcept {
  size_t* link = &buckets_[bucket_of(node.name)];
  for (uint64_t bits = fingerprint_of(node.name); *link != kEnd && entries_[*link].node != &node; bits >>= 1)
    link = &entries_[*link].next[bits & 1];
  if (*link == kEnd) return;
  const size_t index = *link;
  Entry& entry = entries_[index];

  // Any entry at an end behind this one can take its place.
  size_t* last = link;
  while (entries_[*last].next[0] != kEnd || entries_[*last].next[1] != kEnd)
    last = &entries_[*last].next[entries_[*last].next[0] == kEnd];
  const size_t successor = *last;
  *last = kEnd;
  if (successor != index) {
    std::copy_n(entry.next, 2, entries_[successor].next);
    *link = successor;
  }
  entry.node = nullptr;
  entry.next[0] = free_;
  free_ = index;
}

}  // namespace tv
