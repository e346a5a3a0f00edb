// Chained hashing with entries in one array. Nothing here throws: every allocation may be refused,
// and the caller then drops the table.
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

bool NameTable::insert(Node& node) noexcept {
  if (!has_room()) return false;
  const size_t index = free_ != kEnd ? free_ : used_++;
  Entry& entry = entries_[index];
  if (index == free_) free_ = entry.next;
  size_t& bucket = buckets_[bucket_of(node.name)];
  entry = {&node, fingerprint_of(node.name), bucket};
  bucket = index;
  return true;
}

bool NameTable::grow(size_t node_count) noexcept {
  size_t chain = kEnd;
  for (size_t bucket = 0; bucket < length_; ++bucket) {
    while (buckets_[bucket] != kEnd) {
      const size_t index = buckets_[bucket];
      buckets_[bucket] = entries_[index].next;
      entries_[index].next = chain;
      chain = index;
    }
  }
  buckets_.reset();
  if (!set_length(node_count)) return false;
  while (chain != kEnd) {
    Entry& entry = entries_[chain];
    const size_t rest = entry.next;
    size_t& bucket = buckets_[bucket_of(entry.node->name)];
    entry.next = bucket;
    bucket = chain;
    chain = rest;
  }
  return true;
}

Node* NameTable::find(std::string_view name) const noexcept {
  const uint64_t fingerprint = fingerprint_of(name);
  for (size_t index = buckets_[bucket_of(name)]; index != kEnd; index = entries_[index].next) {
    const Entry& entry = entries_[index];
    if (entry.fingerprint == fingerprint && entry.node->name == name) return entry.node;
  }
  return nullptr;
}

void NameTable::erase(const Node& node) noexcept {
  size_t* link = &buckets_[bucket_of(node.name)];
  while (*link != kEnd && entries_[*link].node != &node) link = &entries_[*link].next;
  if (*link == kEnd) return;
  const size_t index = *link;
  *link = entries_[index].next;
  entries_[index].next = free_;
  free_ = index;
}

}  // namespace tv
