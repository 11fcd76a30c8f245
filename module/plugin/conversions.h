#pragma once

/// Converts between the spatial transforms of the model and the host's poses. A transform X = (E, r) turns coordinates
/// of a first frame into those of a second; a host pose [R | t] maps points. All are pure functions of their arguments.

#include "metapod/spatial/pose.h"
#include "qzmath/qzmath.h"

namespace tesk {

using SpatialTransform = metapod::Spatial::TransformT<metapod::Spatial::RotationMatrix>;

using metapod::Spatial::GeneralTransformT;
using metapod::Spatial::PoseT;

inline void store(QZ::Math::Transform& T, const PoseT<float>& pose) noexcept {
  const auto& [row0, row1, row2, t] = pose;
  T.r00 = row0.x, T.r01 = row0.y, T.r02 = row0.z, T.tx = t.x;
  T.r10 = row1.x, T.r11 = row1.y, T.r12 = row1.z, T.ty = t.y;
  T.r20 = row2.x, T.r21 = row2.y, T.r22 = row2.z, T.tz = t.z;
}

// ---- One frame at a time --------------------------------------------------------------------------------------------

/// T = [E | -E r], the change of frame as a homogeneous matrix: a point in the first frame to the same in the second.
inline void toQZMath(const SpatialTransform& X, QZ::Math::Transform& T) noexcept {
  const auto& [x, y, z] = X.E.E;
  store(T, {{x.x, y.x, z.x}, {x.y, y.y, z.y}, {x.z, y.z, z.z}, -(X.E * X.r)});
}

/// The inverse of toQZMath: E = R, r = -R^T t.
inline SpatialTransform fromQZMath(const QZ::Math::Transform& T) noexcept {
  const metapod::Spatial::RotationMatrix E(
      metapod::Spatial::Matrix3{{T.r00, T.r10, T.r20}, {T.r01, T.r11, T.r21}, {T.r02, T.r12, T.r22}});
  return {E, -E.applyTransposed(metapod::Spatial::Vector3{T.tx, T.ty, T.tz})};
}

inline void invToQZMath(const SpatialTransform& X, QZ::Math::Transform& T) noexcept { store(T, inverse(X)); }

inline void invProdToQZMath(const SpatialTransform& A, const SpatialTransform& B, QZ::Math::Transform& T) noexcept {
  store(T, inverse_of_product(A, B));
}

}  // namespace tesk
