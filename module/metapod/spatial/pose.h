#pragma once

/// A spatial transform X = (E, r) turns coordinates of a first frame into those of a second; a pose [R | t] is where
/// the second frame stands in the first, and maps points.

#include "metapod/spatial/transform.h"

namespace metapod::Spatial {

/// The rows of R, and t, of the pose of one body, or of one body per lane.
template <typename Scalar>
struct PoseT {
  using Vector = Vector3T<Scalar>;
  Vector row0, row1, row2, t;
};

template <typename Scalar>
using GeneralTransformT = TransformT<RotationMatrixT<Scalar>>;

/// [E^T | r], the pose of the second frame in the first.
template <typename Scalar>
PoseT<Scalar> inverse(const GeneralTransformT<Scalar>& X) noexcept {
  const auto& [x, y, z] = X.E.E;
  return {x, y, z, X.r};
}

/// The inverse of A B (B first, then A), with the third row of R as the cross product of the first two, which keeps R
/// orthonormal in that row.
template <typename Scalar>
PoseT<Scalar> inverse_of_product(const GeneralTransformT<Scalar>& A, const GeneralTransformT<Scalar>& B) noexcept {
  const auto row0 = A.E * B.E.E.column0;
  const auto row1 = A.E * B.E.E.column1;
  return {row0, row1, cross(row0, row1), B.apply_inv_to_point(A.r)};
}

}  // namespace metapod::Spatial
