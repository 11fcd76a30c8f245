#pragma once

#include "metapod/spatial/vector3.h"

namespace metapod::Spatial {

/// Spatial velocity or acceleration of a body, in the axes of one frame.
/// The linear part is that of the body-fixed point at the frame's origin.
/// Source: R. Featherstone, Rigid Body Dynamics Algorithms, 2008, ch. 2.
template <typename Scalar>
struct MotionT {
  using Vector = Vector3T<Scalar>;

  Vector w;  ///< angular part [rad/s]
  Vector v;  ///< linear part [m/s]

  constexpr const Vector& angular() const noexcept { return w; }
  constexpr const Vector& linear() const noexcept { return v; }
};
using Motion = MotionT<float>;
static_assert(std::is_trivial_v<Motion> && sizeof(Motion) == 6 * sizeof(float));

template <typename Scalar>
constexpr MotionT<Scalar> operator+(const MotionT<Scalar>& a, const MotionT<Scalar>& b) noexcept {
  return {a.w + b.w, a.v + b.v};
}

/// Motion cross motion, a x b: the rate of b when it is fixed in a body that moves with a.
template <typename Scalar>
constexpr MotionT<Scalar> cross(const MotionT<Scalar>& a, const MotionT<Scalar>& b) noexcept {
  return {cross(a.w, b.w), cross(a.w, b.v) + cross(a.v, b.w)};
}

}  // namespace metapod::Spatial
