// The range in which single-precision results count as ordinary numbers. Sums are doubles, so that a
// value outside it can be seen before it is stored.
#pragma once

namespace tv {

inline constexpr double kLargestFloat = 3.4028234663852886e+38;         // the largest finite float
inline constexpr double kSmallestNormalFloat = 1.1754943508222875e-38;  // below it precision is lost

}  // namespace tv
