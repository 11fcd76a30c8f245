#pragma once

#include "metapod/spatial/vector3.h"

namespace metapod::Spatial {

/// Spatial velocity or acceleration of a body, in the axes of one frame.
/// The linear part is that of the body-fixed point at the frame's origin.
/// Source: R. Featherstone, Rigid Body Dynamics Algorithms, 2008, ch. 2.
template <typename Angular, typename Linear>
struct MotionOf {
  Angular w;  ///< angular part [rad/s]
  Linear v;   ///< linear part [m/s]
};
template <typename Angular, typename Linear>
MotionOf(Angular, Linear) -> MotionOf<Angular, Linear>;

template <typename Scalar>
using MotionT = MotionOf<Vector3T<Scalar>, Vector3T<Scalar>>;
using Motion = MotionT<float>;
static_assert(std::is_trivial_v<Motion> && sizeof(Motion) == 6 * sizeof(float));

template <typename Function, typename A, typename B, typename... Others>
constexpr auto map(const Function& f, const MotionOf<A, B>& m, const Others&... others) noexcept {
  return MotionOf{map(f, m.w, others.w...), map(f, m.v, others.v...)};
}

template <typename A, typename B>
constexpr void put_in(MotionOf<A, B>& to, const MotionOf<A, B>& from) noexcept {
  put_in(to.w, from.w);
  put_in(to.v, from.v);
}

template <typename A, typename B, typename C, typename D>
constexpr auto operator+(const MotionOf<A, B>& a, const MotionOf<C, D>& b) noexcept {
  return MotionOf{a.w + b.w, a.v + b.v};
}

/// Motion cross motion, a x b: the rate of b when it is fixed in a body that moves with a.
template <typename A, typename B, typename C, typename D>
constexpr auto cross(const MotionOf<A, B>& a, const MotionOf<C, D>& b) noexcept {
  return MotionOf{cross(a.w, b.w), cross(a.w, b.v) + cross(a.v, b.w)};
}

}  // namespace metapod::Spatial
