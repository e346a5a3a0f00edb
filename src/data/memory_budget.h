// How much memory a data set takes, and how much it may take: an allocator that counts every block of the
// containers of one data set, and refuses what goes beyond the limit.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <vector>

#include "api/memory.h"

namespace tv {

class MemoryBudget {
 public:
  explicit MemoryBudget(size_t limit) noexcept : limit_(limit) {}
  MemoryBudget(const MemoryBudget&) = delete;
  MemoryBudget& operator=(const MemoryBudget&) = delete;

  size_t used() const noexcept { return used_; }
  size_t limit() const noexcept { return limit_; }
  void set_limit(size_t limit) noexcept { limit_ = limit; }
  bool has_refused() const noexcept { return has_refused_; }  // anything at all

  void take(size_t bytes) {
    if (size_add(used_, bytes) > limit_) {
      has_refused_ = true;
      throw std::bad_alloc();
    }
    used_ += bytes;
  }
  void give_back(size_t bytes) noexcept { used_ -= bytes; }

 private:
  size_t limit_;
  size_t used_ = 0;
  bool has_refused_ = false;
};

template <class T>
class CountedAllocator {
 public:
  using value_type = T;
  using propagate_on_container_move_assignment = std::true_type;
  using propagate_on_container_swap = std::true_type;

  CountedAllocator(MemoryBudget& budget) noexcept : budget_(&budget) {}
  template <class Other>
  CountedAllocator(const CountedAllocator<Other>& other) noexcept : budget_(&other.budget()) {}

  MemoryBudget& budget() const noexcept { return *budget_; }

  T* allocate(size_t count) {
    const size_t bytes = size_multiply(count, sizeof(T));
    budget_->take(bytes);
    void* const block = ::operator new(bytes, std::nothrow);
    if (!block) {
      budget_->give_back(bytes);
      throw std::bad_alloc();
    }
    if (bytes >= kLargeBlock) expect_large_block(block, bytes);
    return static_cast<T*>(block);
  }
  void deallocate(T* block, size_t count) noexcept {
    budget_->give_back(count * sizeof(T));
    ::operator delete(block);
  }

  bool operator==(const CountedAllocator& other) const noexcept { return budget_ == other.budget_; }

 private:
  static constexpr size_t kLargeBlock = size_t{1} << 23;

  MemoryBudget* budget_;
};

template <class T>
using CountedVector = std::vector<T, CountedAllocator<T>>;

}  // namespace tv
