#pragma once

#include "metapod/spatial/motion.h"

namespace metapod {

/// Gravity turned around, in the frame in which the root's coordinates are given, z up: the acceleration [m/s^2] that
/// the root's parent seems to have for bodies that gravity pulls down.
inline constexpr Spatial::Motion minus_g{{0, 0, 0}, {0, 0, 9.81F}};

}  // namespace metapod
