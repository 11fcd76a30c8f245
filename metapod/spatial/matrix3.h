#pragma once

#include "metapod/spatial/vector3.h"

namespace metapod::Spatial {

/// A 3 x 3 matrix by its columns.
template <typename Scalar>
struct Matrix3T {
  Vector3T<Scalar> column0, column1, column2;
};
using Matrix3 = Matrix3T<float>;

template <typename Scalar>
constexpr Vector3T<Scalar> operator*(const Matrix3T<Scalar>& M, const Vector3T<Scalar>& v) noexcept {
  const auto& [a, b, c] = M;
  return {a.x * v.x + b.x * v.y + c.x * v.z, a.y * v.x + b.y * v.y + c.y * v.z, a.z * v.x + b.z * v.y + c.z * v.z};
}

template <typename Scalar>
constexpr Matrix3T<Scalar> operator*(const Matrix3T<Scalar>& A, const Matrix3T<Scalar>& B) noexcept {
  return {A * B.column0, A * B.column1, A * B.column2};
}

/// M transposed times v.
template <typename Scalar>
constexpr Vector3T<Scalar> transposed_times(const Matrix3T<Scalar>& M, const Vector3T<Scalar>& v) noexcept {
  return {dot(M.column0, v), dot(M.column1, v), dot(M.column2, v)};
}

/// A symmetric 3 x 3 matrix, stored as its lower triangle row by row.
template <typename Scalar>
struct SymmetricMatrix3T {
  Scalar xx, yx, yy, zx, zy, zz;
};

template <typename Scalar>
constexpr Matrix3T<Scalar> lowerTriangularToSymmetric(const SymmetricMatrix3T<Scalar>& I) noexcept {
  return {{I.xx, I.yx, I.zx}, {I.yx, I.yy, I.zy}, {I.zx, I.zy, I.zz}};
}

template <typename Scalar>
constexpr SymmetricMatrix3T<Scalar> operator+(const SymmetricMatrix3T<Scalar>& a,
                                              const SymmetricMatrix3T<Scalar>& b) noexcept {
  return {a.xx + b.xx, a.yx + b.yx, a.yy + b.yy, a.zx + b.zx, a.zy + b.zy, a.zz + b.zz};
}

}  // namespace metapod::Spatial
