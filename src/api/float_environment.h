// The processor's floating-point environment of the running thread: its sticky flags tell, at no cost to the
// arithmetic, that some result since they were cleared was too small or too large for its type.
#pragma once

#if defined(__x86_64__)
#include <immintrin.h>
#else
#include <cfenv>
#endif

namespace tv {

#if defined(__x86_64__)

// A result lost digits below the smallest normal number, or was no finite number.
inline constexpr unsigned kOverflowFlag = _MM_EXCEPT_OVERFLOW;
inline constexpr unsigned kRangeFlags = _MM_EXCEPT_UNDERFLOW | kOverflowFlag;

inline unsigned range_flags() noexcept { return _mm_getcsr() & kRangeFlags; }
inline void raise_range_flags(unsigned flags) noexcept {
  if (flags) _mm_setcsr(_mm_getcsr() | flags);
}
inline void clear_range_flags() noexcept {
  if (const unsigned state = _mm_getcsr(); state & kRangeFlags) _mm_setcsr(state & ~kRangeFlags);
}

// The default environment (nothing flushed to zero, rounding to nearest, no flags) for its lifetime; then
// that of the host again.
class FloatEnvironment {
 public:
  FloatEnvironment() noexcept : host_(_mm_getcsr()) { _mm_setcsr(kDefault); }
  ~FloatEnvironment() { _mm_setcsr(host_); }
  FloatEnvironment(const FloatEnvironment&) = delete;
  FloatEnvironment& operator=(const FloatEnvironment&) = delete;

 private:
  static constexpr unsigned kDefault = 0x1f80;
  unsigned host_;
};

#else

inline constexpr unsigned kOverflowFlag = FE_OVERFLOW;
inline constexpr unsigned kRangeFlags = FE_UNDERFLOW | kOverflowFlag;

inline unsigned range_flags() noexcept { return static_cast<unsigned>(std::fetestexcept(kRangeFlags)); }
inline void raise_range_flags(unsigned flags) noexcept {
  if (flags) std::feraiseexcept(static_cast<int>(flags));
}
inline void clear_range_flags() noexcept { std::feclearexcept(kRangeFlags); }

class FloatEnvironment {
 public:
  FloatEnvironment() noexcept {
    std::fegetenv(&host_);
    std::fesetenv(FE_DFL_ENV);
  }
  ~FloatEnvironment() { std::fesetenv(&host_); }
  FloatEnvironment(const FloatEnvironment&) = delete;
  FloatEnvironment& operator=(const FloatEnvironment&) = delete;

 private:
  std::fenv_t host_;
};

#endif

}  // namespace tv
