// A list of plain records in an arena: it has the capacity that it was given and owns nothing.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <type_traits>

namespace tv {

template <class T>
class ArenaList {
  static_assert(std::is_trivially_destructible_v<T> && alignof(T) <= alignof(double));

 public:
  // An empty list that begins at `place`.
  void start(unsigned char* place) noexcept {
    data_ = reinterpret_cast<T*>(place);
    size_ = 0;
  }
  void fill(size_t count, const T& value = {}) noexcept {
    std::uninitialized_fill_n(data_, count, value);
    size_ = count;
  }
  // Elements behind the last one that the caller sets.
  T* take(size_t count) noexcept {
    size_ += count;
    return data_ + size_ - count;
  }

  T* data() const noexcept { return data_; }
  size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  T* begin() const noexcept { return data_; }
  T* end() const noexcept { return data_ + size_; }
  T& operator[](size_t i) const noexcept { return data_[i]; }
  T& back() const noexcept { return data_[size_ - 1]; }

  T& push_back(const T& element) noexcept { return data_[size_++] = element; }
  void pop_back() noexcept { --size_; }
  void clear() noexcept { size_ = 0; }
  void shrink(size_t count) noexcept { size_ = count; }

 private:
  T* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace tv
