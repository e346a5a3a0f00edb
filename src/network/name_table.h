// The hash table behind lookups by name in domains of more than a few nodes. It is an accelerator
// only: when its memory runs out it is dropped and the linear search over the node list answers.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "network/types.h"

namespace tv {

class NameTable {
 public:
  // Holds every named node of the domain; null when there is no memory for it.
  static std::unique_ptr<NameTable> build(const Domain& domain) noexcept;

  size_t length() const noexcept { return length_; }
  Node* find(std::string_view name) const noexcept;

  // False when memory ran out; the table is then incomplete and has to be dropped.
  bool insert(Node& node) noexcept;
  bool grow(size_t node_count) noexcept;  // a length for this many nodes

  // To be called while the node still has the name under which it was inserted. The room that it leaves
  // serves the next insertion, so a node that is erased can always be inserted again.
  void erase(const Node& node) noexcept;

 private:
  static constexpr size_t kEnd = static_cast<size_t>(-1);

  // Names that differ in a number alone fall into a few buckets, however many there are. So a bucket's
  // chain forks at each entry, by one bit after the other of a second hash, which also tells entries apart
  // without a look at their nodes.
  struct Entry {
    Node* node;  // null when the entry has been given back
    uint64_t fingerprint;
    size_t next[2];
  };

  size_t bucket_of(std::string_view name) const noexcept;
  bool set_length(size_t node_count) noexcept;
  bool has_room() noexcept;
  void hang_in(size_t index) noexcept;

  size_t length_ = 0;
  std::unique_ptr<size_t[]> buckets_;  // index of the first entry of each chain
  std::unique_ptr<Entry[]> entries_;
  size_t used_ = 0, capacity_ = 0;  // of the entries
  size_t free_ = kEnd;              // chain of entries given back
};

size_t smallest_prime_not_below(size_t number) noexcept;

}  // namespace tv
