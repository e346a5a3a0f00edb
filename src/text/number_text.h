// Numbers as "%G" writes them in the "C" locale, into memory that the caller gives.
#pragma once

#include <cstddef>

namespace tv {

inline constexpr size_t kNumberRoom = 40;  // characters that any of these needs at most

// "%G", six significant digits; returns the end of what was written.
char* write_six_digits(char* to, double number) noexcept;

// "%.*G" with a precision of 1 to 17.
char* write_digits(char* to, double number, int precision) noexcept;

}  // namespace tv
