#pragma once

#include "metapod/spatial/motion.h"

namespace metapod::Spatial {

/// Spatial force, in the axes of one frame.
template <typename Scalar>
struct ForceT {
  using Vector = Vector3T<Scalar>;

  Vector n;  ///< angular part: moment about the frame's origin [N m]
  Vector f;  ///< linear part: force [N]
};
template <typename Scalar>
ForceT(Vector3T<Scalar>, Vector3T<Scalar>) -> ForceT<Scalar>;
using Force = ForceT<float>;
static_assert(std::is_trivial_v<Force> && sizeof(Force) == 6 * sizeof(float));

template <typename Function, typename Scalar, typename... Others>
constexpr auto map(const Function& f, const ForceT<Scalar>& a, const Others&... others) noexcept {
  return ForceT{map(f, a.n, others.n...), map(f, a.f, others.f...)};
}

template <typename Scalar>
constexpr void put_in(ForceT<Scalar>& to, const ForceT<Scalar>& from) noexcept {
  put_in(to.n, from.n);
  put_in(to.f, from.f);
}

template <typename Scalar>
constexpr ForceT<Scalar> operator+(const ForceT<Scalar>& a, const ForceT<Scalar>& b) noexcept {
  return {a.n + b.n, a.f + b.f};
}

template <typename Scalar>
constexpr ForceT<Scalar> operator-(const ForceT<Scalar>& a, const ForceT<Scalar>& b) noexcept {
  return {a.n - b.n, a.f - b.f};
}

/// Power of a force on a body that moves with m.
template <typename A, typename B, typename Scalar>
constexpr Scalar dot(const MotionOf<A, B>& m, const ForceT<Scalar>& f) noexcept {
  return dot(m.w, f.n) + dot(m.v, f.f);
}

/// Motion cross force, m x* f: the dual of motion cross motion.
template <typename Scalar>
constexpr ForceT<Scalar> cross(const MotionT<Scalar>& m, const ForceT<Scalar>& f) noexcept {
  return {cross(m.w, f.n) + cross(m.v, f.f), cross(m.w, f.f)};
}

}  // namespace metapod::Spatial
