#pragma once

#include "metapod/spatial/inertia.h"

namespace metapod::models {

inline constexpr int no_parent = -1;

/// One row of a robot's table: a body and the joint that carries it, as the robot's author writes them down.
struct BodyDescription {
  const char* name;              ///< of the body and of its joint
  int parent;                    ///< index of the parent body, smaller than the body's own; no_parent for the root
  Spatial::Matrix3 rotation;     ///< E of the tree transform: parent coordinates to coordinates of the joint's frame
  Spatial::Vector3 translation;  ///< r of the tree transform: origin of the joint's frame in the parent's frame [m]
  Spatial::Inertia inertia;      ///< in the body's frame, about its origin
};

inline constexpr Spatial::Matrix3 identity{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

/// A matrix written row by row.
constexpr Spatial::Matrix3 rows(const Spatial::Vector3& a, const Spatial::Vector3& b,
                                const Spatial::Vector3& c) noexcept {
  return {{a.x, b.x, c.x}, {a.y, b.y, c.y}, {a.z, b.z, c.z}};
}

constexpr bool is_zero(float x) noexcept { return !(x < 0) && !(x > 0); }

constexpr bool is_identity(const Spatial::Matrix3& E) noexcept {
  const auto& [x, y, z] = E;
  return is_zero(x.x - 1) && is_zero(x.y) && is_zero(x.z) && is_zero(y.x) && is_zero(y.y - 1) && is_zero(y.z) &&
         is_zero(z.x) && is_zero(z.y) && is_zero(z.z - 1);
}

}  // namespace metapod::models
