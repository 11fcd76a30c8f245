#pragma once

#include "metapod/spatial/pack.h"
#include "metapod/spatial/vector3.h"

namespace metapod::Spatial {

/// One vector in one register, x, y, z and zero, where a Vector3T<Pack> is four vectors.
struct PackedVector3 {
  Pack xyz0;

  Vector3 unpacked() const noexcept { return {xyz0[0], xyz0[1], xyz0[2]}; }

  friend PackedVector3 operator+(PackedVector3 a, PackedVector3 b) noexcept { return {a.xyz0 + b.xyz0}; }
};
static_assert(std::is_trivial_v<PackedVector3> && sizeof(PackedVector3) == sizeof(Pack));

}  // namespace metapod::Spatial
