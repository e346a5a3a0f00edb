// An arena: allocations live as long as it does.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace tv {

class Arena {
 public:
  template <class T>
  T* take(size_t count) {
    const size_t bytes = (count * sizeof(T) + 7) / 8 * 8;
    if (bytes > left_) add_chunk(bytes);
    left_ -= bytes;
    return reinterpret_cast<T*>(end_ - left_ - bytes);
  }
  template <class T>
  std::span<T> copy(const std::vector<T>& list) {
    T* start = take<T>(list.size());
    std::copy(list.begin(), list.end(), start);
    return {start, list.size()};
  }
  size_t bytes() const noexcept { return bytes_; }

 private:
  void add_chunk(size_t least) {
    const size_t size = std::max<size_t>(least, 32768);
    chunks_.push_back(std::unique_ptr<unsigned char[]>(new unsigned char[size]));
    end_ = chunks_.back().get() + size;
    left_ = size;
    bytes_ += size;
  }

  std::vector<std::unique_ptr<unsigned char[]>> chunks_;
  unsigned char* end_ = nullptr;  // of the last chunk
  size_t left_ = 0;
  size_t bytes_ = 0;
};

}  // namespace tv
