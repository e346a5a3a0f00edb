// What may be lost where numbers become smaller than single precision holds. While messages are collected, a
// later factor may make any entry decisive. Once a clique is calibrated, an entry far below its mass is
// negligible; but it is gone, should further evidence make it large.
#pragma once

#include "inference/engine.h"

namespace tv {

// A share of the mass that no result shows: beliefs of more than 1e-23 stay right to one part in a million.
inline constexpr double kNegligible = 7.888609052210118e-31;  // 2 to the power -100

// The binary logarithm of the share that may be missing in tables that absorb further evidence.
inline constexpr double kNegligibleLater = -98.0;

// The binary logarithm of the share that may be missing in tables that have just come to an equilibrium.
double lost_share_of(const TreeEngine& engine) noexcept;

}  // namespace tv
