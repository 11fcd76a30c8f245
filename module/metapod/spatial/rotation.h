#pragma once

/// The kinds of rotation that a transform may have. E turns coordinates in frame A into coordinates in frame B: E = Q^T
/// where the columns of Q are B's axes in A.
///
/// A kind stores and multiplies only what it needs; which kind a transform has is known when the program is built. A
/// default rotation is zero, not the identity: it marks what no computation has filled.

#include "metapod/spatial/matrix3.h"
#include "metapod/spatial/pack.h"

namespace metapod::Spatial {

/// E = (c, s, 0; -s, c, 0; 0, 0, 1): the change into a frame turned about z by an angle of cosine c and sine s.
template <typename S>
struct RotationMatrixAboutZT {
  using Scalar = S;

  Scalar c{};
  Scalar s{};

  template <typename X, typename Y, typename Z>
  constexpr auto applyTransposed(const VectorOf<X, Y, Z>& v) const noexcept {
    return VectorOf{c * v.x - s * v.y, s * v.x + c * v.y, v.z};
  }
};
using RotationMatrixAboutZ = RotationMatrixAboutZT<float>;

/// A rotation by its matrix, some entries of which may be known to vanish. In the lanes of a pack whose bits are set in
/// `about_z` it is a rotation about z; that makes a difference only where that kind has a formula of its own.
template <typename S, typename Matrix, unsigned about_z>
struct RotationOf {
  using Scalar = S;

  Matrix E{};

  /// Zero, but for the third row of a rotation about z, which that kind does not store: it is (0, 0, 1) also here.
  constexpr RotationOf() noexcept {
    if constexpr (about_z != 0) E.column2.z = select<about_z>(Scalar(1), Scalar{});
  }
  explicit constexpr RotationOf(const Matrix& matrix) noexcept : E(matrix) {}
  /// Converts from a more special kind.
  template <typename M, unsigned lanes>
  explicit constexpr RotationOf(const RotationOf<Scalar, M, lanes>& R) noexcept : E(dense<Scalar>(R.E)) {}
  explicit constexpr RotationOf(const RotationMatrixAboutZT<Scalar>& R) noexcept
      : E{{R.c, -R.s, {}}, {R.s, R.c, {}}, {{}, {}, Scalar(1)}} {}

  template <typename X, typename Y, typename Z>
  constexpr auto applyTransposed(const VectorOf<X, Y, Z>& v) const noexcept {
    return transposed_times(E, v);
  }
};

/// Any rotation.
template <typename Scalar>
using RotationMatrixT = RotationOf<Scalar, Matrix3T<Scalar>, 0>;
using RotationMatrix = RotationMatrixT<float>;

/// The identity, which stores nothing.
template <typename S>
struct RotationMatrixIdentityT {
  using Scalar = S;

  template <typename X, typename Y, typename Z>
  constexpr auto applyTransposed(const VectorOf<X, Y, Z>& v) const noexcept {
    return v;
  }
};
using RotationMatrixIdentity = RotationMatrixIdentityT<float>;

template <typename Scalar, typename M, unsigned lanes, typename X, typename Y, typename Z>
constexpr auto operator*(const RotationOf<Scalar, M, lanes>& R, const VectorOf<X, Y, Z>& v) noexcept {
  return R.E * v;
}

template <typename Scalar, typename X, typename Y, typename Z>
constexpr auto operator*(const RotationMatrixAboutZT<Scalar>& R, const VectorOf<X, Y, Z>& v) noexcept {
  return VectorOf{R.c * v.x + R.s * v.y, -R.s * v.x + R.c * v.y, v.z};
}

template <typename Scalar, typename X, typename Y, typename Z>
constexpr auto operator*(const RotationMatrixIdentityT<Scalar>&, const VectorOf<X, Y, Z>& v) noexcept {
  return v;
}

template <typename Scalar, typename L, unsigned lanes, typename R>
constexpr auto operator*(const RotationOf<Scalar, L, lanes>& A, const RotationOf<Scalar, R, 0>& B) noexcept {
  const auto E = A.E * B.E;
  return RotationOf<Scalar, std::decay_t<decltype(E)>, 0>(E);
}

template <typename Scalar, typename R, unsigned lanes>
constexpr auto operator*(const RotationMatrixAboutZT<Scalar>& A, const RotationOf<Scalar, R, lanes>& B) noexcept {
  const auto E = A * B.E;
  return RotationOf<Scalar, std::decay_t<decltype(E)>, lanes>(E);
}

template <typename Rotation>
constexpr Rotation operator*(const Rotation& A, const RotationMatrixIdentityT<typename Rotation::Scalar>&) noexcept {
  return A;
}

// ---- Rotational inertia ---------------------------------------------------------------------------------------------

/// The upper left values of E^T I E for a rotation about z, with c^2 + s^2 = 1 built in.
template <typename Scalar>
struct RotatedAboutZT {
  Scalar xx, yx, yy;
};

template <typename Scalar>
constexpr RotatedAboutZT<Scalar> rotated_back_about_z(const Scalar& c, const Scalar& s,
                                                      const SymmetricMatrix3T<Scalar>& I) noexcept {
  const Scalar one(1);
  const Scalar two(2);
  const Scalar s2 = s * s;
  const Scalar difference = I.xx - I.yy;
  const Scalar two_cs_yx = two * c * s * I.yx;
  return {I.xx - (s2 * difference + two_cs_yx), (one - two * s2) * I.yx + c * s * difference,
          I.yy + s2 * difference + two_cs_yx};
}

/// E^T I E, the rotational inertia I of frame B turned into the axes of frame A. A lane that turns about z takes the
/// values above; outside the upper left the two formulas are the same.
template <typename Scalar, typename M, unsigned about_z>
constexpr SymmetricMatrix3T<Scalar> rotated_back(const RotationOf<Scalar, M, about_z>& R,
                                                 const SymmetricMatrix3T<Scalar>& I) noexcept {
  const auto& E = R.E;
  const auto IE = lowerTriangularToSymmetric(I) * E;
  SymmetricMatrix3T<Scalar> J{dot(E.column0, IE.column0), dot(E.column1, IE.column0), dot(E.column1, IE.column1),
                              dot(E.column2, IE.column0), dot(E.column2, IE.column1), dot(E.column2, IE.column2)};
  if constexpr (about_z != 0) {
    const auto [xx, yx, yy] = rotated_back_about_z(E.column0.x, dense<Scalar>(E.column1.x), I);
    J.xx = select<about_z>(xx, J.xx);
    J.yx = select<about_z>(yx, J.yx);
    J.yy = select<about_z>(yy, J.yy);
  }
  return J;
}

template <typename Scalar>
constexpr SymmetricMatrix3T<Scalar> rotated_back(const RotationMatrixAboutZT<Scalar>& R,
                                                 const SymmetricMatrix3T<Scalar>& I) noexcept {
  const auto& [c, s] = R;
  const auto [xx, yx, yy] = rotated_back_about_z(c, s, I);
  return {xx, yx, yy, c * I.zx - s * I.zy, s * I.zx + c * I.zy, I.zz};
}

}  // namespace metapod::Spatial
