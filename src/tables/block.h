// A block of plain numbers, aligned for vector instructions and zero-filled.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace tv {

template <class T>
class Block {
 public:
  static constexpr size_t alignment = 64;

  Block() = default;
  explicit Block(size_t count) { allocate(count); }

  // The old contents are lost; std::bad_alloc leaves them as they were.
  void allocate(size_t count) {
    allocate_uninitialized(count);
    std::memset(static_cast<void*>(data_.get()), 0, count * sizeof(T));
  }
  void allocate_uninitialized(size_t count) {
    if (count > static_cast<size_t>(-1) / 2 / sizeof(T)) throw std::bad_alloc();
    data_.reset(static_cast<T*>(::operator new(count ? count * sizeof(T) : 1, std::align_val_t(alignment))));
    size_ = count;
  }
  void reset() noexcept {
    data_.reset();
    size_ = 0;
  }
  T* data() const noexcept { return data_.get(); }
  size_t size() const noexcept { return size_; }
  T* begin() const noexcept { return data(); }
  T* end() const noexcept { return data() + size_; }
  T& operator[](size_t i) const noexcept { return data_.get()[i]; }

 private:
  struct Release {
    void operator()(T* data) const noexcept { ::operator delete(data, std::align_val_t(alignment)); }
  };
  std::unique_ptr<T, Release> data_;
  size_t size_ = 0;
};

}  // namespace tv
