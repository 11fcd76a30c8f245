#pragma once

#include <functional>

#include "metapod/spatial/vector3.h"

namespace metapod::Spatial {

/// A 3 x 3 matrix by its columns.
template <typename Column0, typename Column1, typename Column2>
struct MatrixOf {
  Column0 column0;
  Column1 column1;
  Column2 column2;
};
template <typename Column0, typename Column1, typename Column2>
MatrixOf(Column0, Column1, Column2) -> MatrixOf<Column0, Column1, Column2>;

template <typename Scalar>
using Matrix3T = MatrixOf<Vector3T<Scalar>, Vector3T<Scalar>, Vector3T<Scalar>>;
using Matrix3 = Matrix3T<float>;

template <typename Function, typename A, typename B, typename C, typename... Others>
constexpr auto map(const Function& f, const MatrixOf<A, B, C>& M, const Others&... others) noexcept {
  return MatrixOf{map(f, M.column0, others.column0...), map(f, M.column1, others.column1...),
                  map(f, M.column2, others.column2...)};
}

template <typename A, typename B, typename C, typename X, typename Y, typename Z>
constexpr auto operator*(const MatrixOf<A, B, C>& M, const VectorOf<X, Y, Z>& v) noexcept {
  const auto& [a, b, c] = M;
  return VectorOf{a.x * v.x + b.x * v.y + c.x * v.z, a.y * v.x + b.y * v.y + c.y * v.z,
                  a.z * v.x + b.z * v.y + c.z * v.z};
}

template <typename M, typename A, typename B, typename C>
constexpr auto operator*(const M& left, const MatrixOf<A, B, C>& right) noexcept {
  return MatrixOf{left * right.column0, left * right.column1, left * right.column2};
}

/// M transposed times v.
template <typename A, typename B, typename C, typename X, typename Y, typename Z>
constexpr auto transposed_times(const MatrixOf<A, B, C>& M, const VectorOf<X, Y, Z>& v) noexcept {
  return VectorOf{dot(M.column0, v), dot(M.column1, v), dot(M.column2, v)};
}

template <typename Scalar, typename A, typename B, typename C>
constexpr Matrix3T<Scalar> dense(const MatrixOf<A, B, C>& M) noexcept {
  return map([](const auto& x) { return dense<Scalar>(x); }, M);
}

/// A symmetric 3 x 3 matrix, stored as its lower triangle row by row.
template <typename Scalar>
struct SymmetricMatrix3T {
  Scalar xx, yx, yy, zx, zy, zz;
};
template <typename Scalar, typename... Scalars>
SymmetricMatrix3T(Scalar, Scalars...) -> SymmetricMatrix3T<Scalar>;

template <typename Function, typename Scalar, typename... Others>
constexpr auto map(const Function& f, const SymmetricMatrix3T<Scalar>& I, const Others&... others) noexcept {
  return SymmetricMatrix3T{f(I.xx, others.xx...), f(I.yx, others.yx...), f(I.yy, others.yy...),
                           f(I.zx, others.zx...), f(I.zy, others.zy...), f(I.zz, others.zz...)};
}

template <typename Scalar>
constexpr Matrix3T<Scalar> lowerTriangularToSymmetric(const SymmetricMatrix3T<Scalar>& I) noexcept {
  return {{I.xx, I.yx, I.zx}, {I.yx, I.yy, I.zy}, {I.zx, I.zy, I.zz}};
}

template <typename Scalar>
constexpr SymmetricMatrix3T<Scalar> operator+(const SymmetricMatrix3T<Scalar>& a,
                                              const SymmetricMatrix3T<Scalar>& b) noexcept {
  return map(std::plus<>(), a, b);
}

}  // namespace metapod::Spatial
