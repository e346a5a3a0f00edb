// Knuth's floating-point lagged-Fibonacci generator with lags 100 and 37
// (The Art of Computer Programming, vol. 2, section 3.6), one per domain.
#pragma once

namespace tv {

inline constexpr unsigned kDefaultSeed = 310952;

class RandomGenerator {
 public:
  RandomGenerator() noexcept { seed(kDefaultSeed); }
  void seed(unsigned seed) noexcept;                     // only the low 30 bits count
  double uniform() noexcept;                             // in [0, 1)
  double normal(double mean, double variance) noexcept;  // variance not negative

 private:
  void generate_block() noexcept;
  void skip(int count) noexcept;

  double state_[100];
  int cursor_;     // next value within the state; 100 when the block is used up
  int countdown_;  // values that may still be handed out before the next discard
};

}  // namespace tv
