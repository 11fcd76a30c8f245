#pragma once

#include "metapod/spatial/inertia.h"
#include "metapod/spatial/rotation.h"

namespace metapod::Spatial {

/// Spatial (Pluecker) transform X from frame A to frame B. On motions it is the 6 x 6 matrix [E, 0; -E [r]x, E]; that
/// matrix is never formed.
/// Source: R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 2.8 and table 2.2.
template <typename R, typename Translation = Vector3T<typename R::Scalar>>
struct TransformT {
  using Rotation = R;
  using Scalar = typename R::Scalar;
  using Vector = Vector3T<Scalar>;
  using Motion = MotionT<Scalar>;
  using Force = ForceT<Scalar>;
  using Inertia = InertiaT<Scalar>;

  Rotation E{};     ///< turns coordinates in A into coordinates in B
  Translation r{};  ///< origin of B, in A coordinates [m]

  constexpr TransformT() noexcept = default;
  constexpr TransformT(const Rotation& rotation, const Translation& translation) noexcept
      : E(rotation), r(translation) {}
  /// Converts from a more special kind.
  template <typename Q, typename S>
  explicit constexpr TransformT(const TransformT<Q, S>& X) noexcept : E(X.E), r(dense<Scalar>(X.r)) {}

  /// These transform a motion and a force from A to B.
  constexpr Motion apply(const Motion& a) const noexcept { return {E * a.w, E * (a.v - cross(r, a.w))}; }
  constexpr Force apply(const Force& a) const noexcept { return {E * (a.n - cross(r, a.f)), E * a.f}; }

  /// These transform a motion, a force, an inertia and a point from B to A.
  constexpr Motion applyInv(const Motion& b) const noexcept {
    const Vector w = E.applyTransposed(b.w);
    return {w, E.applyTransposed(b.v) + cross(r, w)};
  }
  constexpr Force applyInv(const Force& b) const noexcept {
    const Vector f = E.applyTransposed(b.f);
    return {E.applyTransposed(b.n) + cross(r, f), f};
  }
  constexpr Inertia applyInv(const Inertia& b) const noexcept {
    const Vector g = E.applyTransposed(b.h);
    const Vector h = g + b.m * r;
    const auto J = rotated_back(E, b.I);
    // J - [r]x [g]x - [h]x [r]x, lower triangle.
    return {b.m,
            h,
            {J.xx + (r.y * g.y + r.z * g.z) + (h.y * r.y + h.z * r.z), J.yx - r.x * g.y - h.x * r.y,
             J.yy + (r.x * g.x + r.z * g.z) + (h.x * r.x + h.z * r.z), J.zx - r.x * g.z - h.x * r.z,
             J.zy - r.y * g.z - h.y * r.z, J.zz + (r.x * g.x + r.y * g.y) + (h.x * r.x + h.y * r.y)}};
  }
  constexpr Vector apply_inv_to_point(const Vector& p_B) const noexcept { return E.applyTransposed(p_B) + r; }
};
static_assert(std::is_trivially_copyable_v<TransformT<RotationMatrix>> &&
              sizeof(TransformT<RotationMatrix>) == 12 * sizeof(float));
static_assert(sizeof(TransformT<RotationMatrixAboutZ>) == 5 * sizeof(float));

/// C<-B after B<-A is C<-A.
template <typename L, typename S, typename R, typename T>
constexpr auto operator*(const TransformT<L, S>& X_CB, const TransformT<R, T>& X_BA) noexcept {
  return TransformT(X_CB.E * X_BA.E, X_BA.r + X_BA.E.applyTransposed(X_CB.r));
}

/// A motion given in A, in B.
template <typename R, typename T>
constexpr auto operator*(const TransformT<R, T>& X_BA, const MotionT<typename R::Scalar>& m_A) noexcept {
  return X_BA.apply(m_A);
}

}  // namespace metapod::Spatial
