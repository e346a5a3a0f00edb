// Decimal numbers from text, the same from a file and from a string and in every locale. Short numbers
// are converted on the way: a mantissa below 2^53 and a power of ten up to 10^22 are both exact, so one
// division or multiplication rounds correctly (Clinger 1990). The rest goes to std::from_chars.

#include <charconv>
#include <cstdint>

#include "text/lexer.h"

namespace tv {
namespace {

constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int64_t kLargestExactPower = 22;
constexpr uint64_t kLargestExactMantissa = uint64_t{1} << 53;
constexpr ptrdiff_t kMantissaDigits = 19;                  // as many decimal digits always fit 64 bits
constexpr int64_t kExponentLimit = 1'000'000'000'000'000;  // beyond every length of text

bool is_digit(char character) noexcept { return character >= '0' && character <= '9'; }

const char* scan_digits(const char* cursor, const char* end, uint64_t& value) noexcept {
  for (; cursor != end && is_digit(*cursor); ++cursor)
    value = value * 10 + static_cast<uint64_t>(*cursor - '0');
  return cursor;
}

// Whether a number out of the range of doubles is so because it is large. The digits start at `digits`.
bool is_large(const char* digits, const char* end, ptrdiff_t integer_digits, int64_t exponent) noexcept {
  ptrdiff_t leading_zeros = 0;
  for (const char* c = digits; c != end && (*c == '0' || *c == '.'); ++c) leading_zeros += *c == '0';
  return integer_digits - leading_zeros + exponent > 0;
}

}  // namespace

bool scan_decimal(const char*& cursor, const char* end, double& number) noexcept {
  const char* p = cursor;
  bool negative = false;
  if (p != end && (*p == '-' || *p == '+')) negative = *p++ == '-';

  uint64_t mantissa = 0;
  const char* const digits = p;
  p = scan_digits(p, end, mantissa);
  const ptrdiff_t integer_digits = p - digits;
  ptrdiff_t fraction_digits = 0;
  if (p != end && *p == '.') {
    const char* const fraction = ++p;
    p = scan_digits(p, end, mantissa);
    fraction_digits = p - fraction;
  }
  cursor = p;
  if (integer_digits + fraction_digits == 0) return false;

  int64_t exponent = 0;
  if (p != end && (*p == 'e' || *p == 'E')) {
    ++p;
    bool negative_exponent = false;
    if (p != end && (*p == '-' || *p == '+')) negative_exponent = *p++ == '-';
    cursor = p;
    if (p == end || !is_digit(*p)) return false;
    for (; p != end && is_digit(*p); ++p)
      if (exponent < kExponentLimit) exponent = exponent * 10 + (*p - '0');
    if (negative_exponent) exponent = -exponent;
    cursor = p;
  }

  const int64_t power = exponent - fraction_digits;
  if (integer_digits + fraction_digits <= kMantissaDigits && mantissa <= kLargestExactMantissa &&
      power <= kLargestExactPower && power >= -kLargestExactPower) {
    const double exact = static_cast<double>(mantissa);
    number = power < 0 ? exact / kPowersOfTen[-power] : exact * kPowersOfTen[power];
  } else if (std::from_chars(digits, p, number).ec != std::errc()) {
    if (is_large(digits, p, integer_digits, exponent)) return false;
    number = 0.0;
  }
  if (negative) number = -number;
  return true;
}

}  // namespace tv
