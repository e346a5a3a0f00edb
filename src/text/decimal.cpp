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

bool is_sign(char character) noexcept { return character == '-' || character == '+'; }
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

// A number whose digits or power are too many for exact arithmetic. It starts at `digits` and has no sign.
[[gnu::noinline]] Scan convert_long(const char* digits, const char* end, ptrdiff_t integer_digits,
                                    int64_t exponent, double& number) noexcept {
  if (std::from_chars(digits, end, number).ec == std::errc()) return Scan::number;
  number = 0.0;
  return is_large(digits, end, integer_digits, exponent) ? Scan::too_large : Scan::number;
}

// An optional exponent at `cursor`; false when it has no digits.
inline bool scan_exponent(const char*& cursor, const char* end, int64_t& exponent) noexcept {
  if (cursor == end || (*cursor != 'e' && *cursor != 'E')) return true;
  ++cursor;
  bool negative = false;
  if (cursor != end && is_sign(*cursor)) negative = *cursor++ == '-';
  const char* const digits = cursor;
  for (; cursor != end && is_digit(*cursor); ++cursor)
    if (exponent < kExponentLimit) exponent = exponent * 10 + (*cursor - '0');
  if (negative) exponent = -exponent;
  return cursor != digits;
}

inline Scan scan_unsigned(const char*& cursor, const char* end, double& number) noexcept {
  uint64_t mantissa = 0;
  const char* const digits = cursor;
  cursor = scan_digits(cursor, end, mantissa);
  const ptrdiff_t integer_digits = cursor - digits;
  ptrdiff_t fraction_digits = 0;
  if (cursor != end && *cursor == '.') {
    const char* const fraction = ++cursor;
    cursor = scan_digits(cursor, end, mantissa);
    fraction_digits = cursor - fraction;
  }
  if (integer_digits + fraction_digits == 0) return Scan::none;
  int64_t exponent = 0;
  if (!scan_exponent(cursor, end, exponent)) return Scan::none;

  const int64_t power = exponent - fraction_digits;
  if (integer_digits + fraction_digits > kMantissaDigits || mantissa > kLargestExactMantissa ||
      power > kLargestExactPower || power < -kLargestExactPower)
    return convert_long(digits, cursor, integer_digits, exponent, number);
  const double exact = static_cast<double>(mantissa);
  number = power < 0 ? exact / kPowersOfTen[-power] : exact * kPowersOfTen[power];
  return Scan::number;
}

}  // namespace

Scan scan_decimal(const char*& cursor, const char* end, double& number) noexcept {
  bool negative = false;
  if (cursor != end && is_sign(*cursor)) negative = *cursor++ == '-';
  const Scan outcome = scan_unsigned(cursor, end, number);
  if (negative) number = -number;
  return outcome;
}

size_t scan_decimals(const char*& cursor, const char* end, tv_number_t* numbers, size_t limit,
                     size_t& line) noexcept {
  size_t count = 0;
  for (; count < limit; ++count) {
    for (; cursor != end && (*cursor == ' ' || *cursor == '\n'); ++cursor) line += *cursor == '\n';
    if (cursor == end || !(is_digit(*cursor) || *cursor == '.')) break;
    const char* behind = cursor;
    double number;
    if (scan_unsigned(behind, end, number) != Scan::number || behind == end || number >= kBeyondTables) break;
    numbers[count] = static_cast<tv_number_t>(number);
    cursor = behind;
  }
  return count;
}

}  // namespace tv
