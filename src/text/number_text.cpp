// Most numbers of tables need no exponent. They are scaled to six digits before the point, with an error far
// below what can change the rounding unless the rest is close to one half; those go the slow way.

#include "text/number_text.h"

#include <charconv>
#include <cmath>
#include <cstdint>

namespace tv {
namespace {

constexpr int kDigits = 6;
constexpr double kSmallestFixed = 1e-4, kFirstLarge = 1e6;
// By exponent from -4 to 5: the least number with it, and what scales it to six digits.
constexpr double kLeast[] = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5};
constexpr double kScale[] = {1e9, 1e8, 1e7, 1e6, 1e5, 1e4, 1e3, 1e2, 1e1, 1e0};

// `digits` is below a million and its first digit has the exponent.
char* write_fixed(char* to, uint32_t digits, int exponent) noexcept {
  char text[kDigits];
  for (int i = kDigits; i-- > 0; digits /= 10) text[i] = static_cast<char>('0' + digits % 10);
  int count = kDigits;
  while (count > 1 && text[count - 1] == '0') --count;
  int next = 0;
  if (exponent < 0) {
    *to++ = '0';
  } else {
    for (; next <= exponent; ++next) *to++ = text[next];
  }
  if (next >= count) return to;
  *to++ = '.';
  for (int zeros = exponent + 1; zeros < 0; ++zeros) *to++ = '0';
  for (; next < count; ++next) *to++ = text[next];
  return to;
}

}  // namespace

char* write_digits(char* to, double number, int precision) noexcept {
  char* const end = std::to_chars(to, to + kNumberRoom, number, std::chars_format::general, precision).ptr;
  for (char* c = to; c != end; ++c)
    if (*c >= 'a' && *c <= 'z') *c = static_cast<char>(*c - 'a' + 'A');
  return end;
}

char* write_six_digits(char* to, double number) noexcept {
  const double size = std::fabs(number);
  if (!(size >= kSmallestFixed && size < kFirstLarge)) {
    if (number != 0 || std::signbit(number)) return write_digits(to, number, kDigits);
    *to = '0';
    return to + 1;
  }
  int i = size < 1 ? 3 : 9;
  while (size < kLeast[i]) --i;
  const double scaled = size * kScale[i];
  uint32_t digits = static_cast<uint32_t>(scaled + 0.5);
  if (std::fabs(scaled - static_cast<double>(digits)) > 0.4999) return write_digits(to, number, kDigits);
  int exponent = i - 4;
  if (digits == 1000000) {
    digits = 100000;
    if (++exponent == kDigits) return write_digits(to, number, kDigits);
  }
  if (number < 0) *to++ = '-';
  return write_fixed(to, digits, exponent);
}

}  // namespace tv
