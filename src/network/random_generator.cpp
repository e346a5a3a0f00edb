// The generator after Knuth, in doubles: u[n] = (u[n - 100] + u[n - 37]) mod 1, and of every 1009
// numbers only the first 100 are used. All sums are of multiples of 2^-52 and below 2, hence exact, so
// that a seed means the same sequence everywhere.
#include "network/random_generator.h"

#include <cmath>
#include <cstdint>

namespace tv {
namespace {

constexpr int kLag = 100, kShortLag = 37;
constexpr int kSeedingPasses = 70;
constexpr int kUsed = 100;  // of every 1009 values
constexpr int kDiscarded = 909;
constexpr int kInitialDiscard = 1990;
constexpr double kUlp = 1.0 / 4503599627370496.0;  // 2^-52
constexpr std::uint32_t kSeedMask = (1u << 30) - 1;
constexpr double kDeviateScale = 1.7155277699214135;  // sqrt(8 / e)

// Of numbers below one. A conversion, unlike a rounding function or a comparison, becomes no call and no
// branch, so that the loops run on whole vectors.
double mod_sum(double x, double y) noexcept {
  const double sum = x + y;
  return sum - static_cast<double>(static_cast<int>(sum));
}

}  // namespace

void RandomGenerator::generate_block() noexcept {
  for (int i = 0; i < kShortLag; ++i) state_[i] = mod_sum(state_[i], state_[i + kLag - kShortLag]);
  for (int i = kShortLag; i < kLag; ++i) state_[i] = mod_sum(state_[i], state_[i - kShortLag]);
}

void RandomGenerator::skip(int count) noexcept {
  int position = cursor_ + count;
  for (; position > kLag - 1; position -= kLag) generate_block();
  cursor_ = position;
  countdown_ = kUsed;
}

// Takes the polynomial z to the power of 2^70 + seed, modulo the recurrence: every seed starts at its
// own far-away point of the sequence.
void RandomGenerator::seed(unsigned seed) noexcept {
  std::uint32_t bits = seed & kSeedMask;
  double x[2 * kLag - 1] = {};
  double start = 2.0 * kUlp * (bits + 2.0);
  for (int j = 0; j < kLag; ++j) {
    x[j] = start;
    start += start;
    if (start >= 1.0) start -= 1.0 - 2.0 * kUlp;
  }
  x[1] += kUlp;  // so that at least one value is odd

  for (int passes = kSeedingPasses - 1; passes > 0;) {
    for (int j = kLag - 1; j > 0; --j) {  // square
      x[2 * j] = x[j];
      x[2 * j - 1] = 0.0;
    }
    for (int j = 2 * kLag - 2; j >= kLag; --j) {
      x[j - (kLag - kShortLag)] = mod_sum(x[j - (kLag - kShortLag)], x[j]);
      x[j - kLag] = mod_sum(x[j - kLag], x[j]);
    }
    if (bits & 1u) {  // multiply by z
      for (int j = kLag; j > 0; --j) x[j] = x[j - 1];
      x[0] = x[kLag];
      x[kShortLag] = mod_sum(x[kShortLag], x[kLag]);
    }
    if (bits)
      bits >>= 1;
    else
      --passes;
  }

  for (int j = 0; j < kLag - kShortLag; ++j) state_[j] = x[j + kShortLag];
  for (int j = kLag - kShortLag; j < kLag; ++j) state_[j] = x[j - (kLag - kShortLag)];
  cursor_ = 0;
  skip(kInitialDiscard);
}

double RandomGenerator::uniform() noexcept {
  if (countdown_ == 0) {
    skip(kDiscarded);
  } else if (cursor_ == kLag) {
    generate_block();
    cursor_ = 0;
  }
  --countdown_;
  return state_[cursor_++];
}

// Ratio of uniforms (Kinderman and Monahan, 1977).
double RandomGenerator::normal(double mean, double variance) noexcept {
  if (variance == 0.0) return mean;
  for (;;) {
    const double a = uniform();
    if (a <= 0.0) continue;
    const double b = uniform();
    const double x = kDeviateScale * (b - 0.5) / a;
    if (-4.0 * std::log(a) >= x * x) return mean + std::sqrt(variance) * x;
  }
}

}  // namespace tv
