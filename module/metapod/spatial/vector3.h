#pragma once

#include <type_traits>

#include "metapod/spatial/scalar.h"
#include "metapod/spatial/zero.h"

namespace metapod::Spatial {

/// Three components in the axes of one frame, each of a type of its own: a scalar, or Zero where it is known to vanish.
/// Default-initialised components are undefined, value-initialised ones are zero.
template <typename X, typename Y, typename Z>
struct VectorOf {
  X x;
  Y y;
  Z z;
};
template <typename X, typename Y, typename Z>
VectorOf(X, Y, Z) -> VectorOf<X, Y, Z>;

template <typename Scalar>
using Vector3T = VectorOf<Scalar, Scalar, Scalar>;
using Vector3 = Vector3T<float>;
static_assert(std::is_trivial_v<Vector3> && sizeof(Vector3) == 3 * sizeof(float));

using ZeroVector = Vector3T<Zero>;

template <typename Function, typename X, typename Y, typename Z, typename... Others>
constexpr auto map(const Function& f, const VectorOf<X, Y, Z>& a, const Others&... others) noexcept {
  return VectorOf{f(a.x, others.x...), f(a.y, others.y...), f(a.z, others.z...)};
}

/// Stores a value component by component. Records in memory are written this way: g++ copies whole values of packs by
/// parts of a register, for which the next load of the register waits.
template <typename X, typename Y, typename Z>
constexpr void put_in(VectorOf<X, Y, Z>& to, const VectorOf<X, Y, Z>& from) noexcept {
  to.x = from.x;
  to.y = from.y;
  to.z = from.z;
}

template <typename X, typename Y, typename Z, typename U, typename V, typename W>
constexpr auto operator+(const VectorOf<X, Y, Z>& a, const VectorOf<U, V, W>& b) noexcept {
  return VectorOf{a.x + b.x, a.y + b.y, a.z + b.z};
}

template <typename X, typename Y, typename Z, typename U, typename V, typename W>
constexpr auto operator-(const VectorOf<X, Y, Z>& a, const VectorOf<U, V, W>& b) noexcept {
  return VectorOf{a.x - b.x, a.y - b.y, a.z - b.z};
}

template <typename X, typename Y, typename Z>
constexpr auto operator-(const VectorOf<X, Y, Z>& a) noexcept {
  return VectorOf{-a.x, -a.y, -a.z};
}

template <typename Scalar, typename X, typename Y, typename Z>
constexpr auto operator*(const Scalar& k, const VectorOf<X, Y, Z>& a) noexcept {
  return VectorOf{k * a.x, k * a.y, k * a.z};
}

template <typename Scalar>
constexpr Vector3T<Scalar> operator/(const Vector3T<Scalar>& a, const Scalar& k) noexcept {
  return {a.x / k, a.y / k, a.z / k};
}

template <typename X, typename Y, typename Z, typename U, typename V, typename W>
constexpr auto dot(const VectorOf<X, Y, Z>& a, const VectorOf<U, V, W>& b) noexcept {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// Right-handed cross product, [a]x b.
template <typename X, typename Y, typename Z, typename U, typename V, typename W>
constexpr auto cross(const VectorOf<X, Y, Z>& a, const VectorOf<U, V, W>& b) noexcept {
  return VectorOf{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

template <typename Scalar, typename X, typename Y, typename Z>
constexpr Vector3T<Scalar> dense(const VectorOf<X, Y, Z>& a) noexcept {
  return map([](const auto& x) { return dense<Scalar>(x); }, a);
}

}  // namespace metapod::Spatial
