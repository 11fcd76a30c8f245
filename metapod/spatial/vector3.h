#pragma once

#include <type_traits>

#include "metapod/spatial/scalar.h"

namespace metapod::Spatial {

/// Three components in the axes of one frame. Default-initialised components are undefined, value-initialised ones
/// are zero.
template <typename Scalar>
struct Vector3T {
  Scalar x, y, z;
};
using Vector3 = Vector3T<float>;
static_assert(std::is_trivial_v<Vector3> && sizeof(Vector3) == 3 * sizeof(float));

template <typename Scalar>
constexpr Vector3T<Scalar> operator+(const Vector3T<Scalar>& a, const Vector3T<Scalar>& b) noexcept {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}

template <typename Scalar>
constexpr Vector3T<Scalar> operator-(const Vector3T<Scalar>& a, const Vector3T<Scalar>& b) noexcept {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}

template <typename Scalar>
constexpr Vector3T<Scalar> operator-(const Vector3T<Scalar>& a) noexcept {
  return {-a.x, -a.y, -a.z};
}

template <typename Scalar>
constexpr Vector3T<Scalar> operator*(const Scalar& k, const Vector3T<Scalar>& a) noexcept {
  return {k * a.x, k * a.y, k * a.z};
}

template <typename Scalar>
constexpr Vector3T<Scalar> operator/(const Vector3T<Scalar>& a, const Scalar& k) noexcept {
  return {a.x / k, a.y / k, a.z / k};
}

template <typename Scalar>
constexpr Scalar dot(const Vector3T<Scalar>& a, const Vector3T<Scalar>& b) noexcept {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// Right-handed cross product, [a]x b.
template <typename Scalar>
constexpr Vector3T<Scalar> cross(const Vector3T<Scalar>& a, const Vector3T<Scalar>& b) noexcept {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

}  // namespace metapod::Spatial
