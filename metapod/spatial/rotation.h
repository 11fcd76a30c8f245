#pragma once

/// The three kinds of rotation that a transform may have. E turns coordinates in frame A into coordinates in frame B:
/// E = Q^T where the columns of Q are B's axes in A.
///
/// A kind stores and multiplies only what it needs; which kind a transform has is known when the program is built.
/// A default rotation is zero, not the identity: it marks what no computation has filled.

#include "metapod/spatial/matrix3.h"

namespace metapod::Spatial {

/// Any rotation.
template <typename S>
struct RotationMatrixT {
  using Scalar = S;

  Matrix3T<Scalar> E{};

  constexpr RotationMatrixT() noexcept = default;
  explicit constexpr RotationMatrixT(const Matrix3T<Scalar>& matrix) noexcept : E(matrix) {}

  constexpr Vector3T<Scalar> applyTransposed(const Vector3T<Scalar>& v) const noexcept {
    return transposed_times(E, v);
  }
};
using RotationMatrix = RotationMatrixT<float>;

/// E = (c, s, 0; -s, c, 0; 0, 0, 1): the change into a frame turned about z by an angle of cosine c and sine s.
template <typename S>
struct RotationMatrixAboutZT {
  using Scalar = S;

  Scalar c{};
  Scalar s{};

  constexpr Vector3T<Scalar> applyTransposed(const Vector3T<Scalar>& v) const noexcept {
    return {c * v.x - s * v.y, s * v.x + c * v.y, v.z};
  }
};
using RotationMatrixAboutZ = RotationMatrixAboutZT<float>;

/// The identity, which stores nothing.
template <typename S>
struct RotationMatrixIdentityT {
  using Scalar = S;

  constexpr Vector3T<Scalar> applyTransposed(const Vector3T<Scalar>& v) const noexcept { return v; }
};
using RotationMatrixIdentity = RotationMatrixIdentityT<float>;

template <typename Scalar>
constexpr Vector3T<Scalar> operator*(const RotationMatrixT<Scalar>& R, const Vector3T<Scalar>& v) noexcept {
  return R.E * v;
}

template <typename Scalar>
constexpr Vector3T<Scalar> operator*(const RotationMatrixAboutZT<Scalar>& R, const Vector3T<Scalar>& v) noexcept {
  return {R.c * v.x + R.s * v.y, -R.s * v.x + R.c * v.y, v.z};
}

template <typename Scalar>
constexpr Vector3T<Scalar> operator*(const RotationMatrixIdentityT<Scalar>&, const Vector3T<Scalar>& v) noexcept {
  return v;
}

template <typename Scalar>
constexpr RotationMatrixT<Scalar> operator*(const RotationMatrixT<Scalar>& A,
                                            const RotationMatrixT<Scalar>& B) noexcept {
  return RotationMatrixT<Scalar>(A.E * B.E);
}

template <typename Scalar>
constexpr RotationMatrixT<Scalar> operator*(const RotationMatrixAboutZT<Scalar>& A,
                                            const RotationMatrixT<Scalar>& B) noexcept {
  return RotationMatrixT<Scalar>({A * B.E.column0, A * B.E.column1, A * B.E.column2});
}

template <template <typename> class Rotation, typename Scalar>
constexpr Rotation<Scalar> operator*(const Rotation<Scalar>& A, const RotationMatrixIdentityT<Scalar>&) noexcept {
  return A;
}

/// E^T I E, the rotational inertia I of frame B turned into the axes of frame A.
template <typename Scalar>
constexpr SymmetricMatrix3T<Scalar> rotated_back(const RotationMatrixT<Scalar>& R,
                                                 const SymmetricMatrix3T<Scalar>& I) noexcept {
  const auto& E = R.E;
  const auto IE = lowerTriangularToSymmetric(I) * E;
  return {dot(E.column0, IE.column0), dot(E.column1, IE.column0), dot(E.column1, IE.column1),
          dot(E.column2, IE.column0), dot(E.column2, IE.column1), dot(E.column2, IE.column2)};
}

/// The same with c^2 + s^2 = 1 built in.
template <typename Scalar>
constexpr SymmetricMatrix3T<Scalar> rotated_back(const RotationMatrixAboutZT<Scalar>& R,
                                                 const SymmetricMatrix3T<Scalar>& I) noexcept {
  const auto& [c, s] = R;
  const Scalar one(1);
  const Scalar two(2);
  const Scalar s2 = s * s;
  const Scalar difference = I.xx - I.yy;
  const Scalar two_cs_yx = two * c * s * I.yx;
  return {I.xx - (s2 * difference + two_cs_yx),
          (one - two * s2) * I.yx + c * s * difference,
          I.yy + s2 * difference + two_cs_yx,
          c * I.zx - s * I.zy,
          s * I.zx + c * I.zy,
          I.zz};
}

}  // namespace metapod::Spatial
