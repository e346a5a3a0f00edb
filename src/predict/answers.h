// The distinct answers about one target: a distribution over its states, or mean and variance.
#pragma once

#include <cstdint>
#include <vector>

namespace tv {

class AnswerList {
 public:
  static constexpr uint32_t kImpossible = static_cast<uint32_t>(-1);  // the row cannot be
  static constexpr uint32_t kOpen = static_cast<uint32_t>(-2);        // it has not been answered

  explicit AnswerList(size_t length) noexcept : length_(length) {}

  // Room for one more, whose number it has.
  uint32_t add() {
    numbers_.resize(numbers_.size() + length_);
    return count_++;
  }
  double* operator[](uint32_t answer) noexcept { return numbers_.data() + answer * length_; }
  const double* operator[](uint32_t answer) const noexcept { return numbers_.data() + answer * length_; }
  uint32_t size() const noexcept { return count_; }
  size_t length() const noexcept { return length_; }
  void clear() noexcept {
    numbers_.clear();
    count_ = 0;
  }

 private:
  size_t length_;
  uint32_t count_ = 0;
  std::vector<double> numbers_;
};

}  // namespace tv
