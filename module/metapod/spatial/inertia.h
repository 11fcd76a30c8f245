#pragma once

#include "metapod/spatial/force.h"
#include "metapod/spatial/matrix3.h"

namespace metapod::Spatial {

/// Spatial inertia of a rigid body, in the axes of one frame and about its origin, as ten numbers. As a 6 x 6 matrix
/// it is [I, [h]x; -[h]x, m 1]; that matrix is never formed. The default is the zero inertia.
/// Source: R. Featherstone, Rigid Body Dynamics Algorithms, 2008, sections 2.13 and A.3.
template <typename Scalar>
struct InertiaT {
  using Vector = Vector3T<Scalar>;
  using Symmetric = SymmetricMatrix3T<Scalar>;

  Scalar m{};     ///< mass [kg]
  Vector h{};     ///< first moment: mass times centre of mass [kg m]
  Symmetric I{};  ///< rotational inertia about the frame's origin, not about the centre of mass [kg m^2]

  constexpr InertiaT() noexcept = default;
  constexpr InertiaT(const Scalar& mass, const Vector& first_moment, const Symmetric& rotational) noexcept
      : m(mass), h(first_moment), I(rotational) {}

  /// Parallel-axis rule: the inertia of a body with mass m, centre of mass c and rotational inertia Ic about c,
  /// I = Ic + m (|c|^2 1 - c c^T).
  static constexpr InertiaT from_center_of_mass(const Scalar& m, const Vector& c, const Symmetric& Ic) noexcept {
    return {m,
            m * c,
            {Ic.xx + m * (c.y * c.y + c.z * c.z), Ic.yx - m * c.x * c.y, Ic.yy + m * (c.z * c.z + c.x * c.x),
             Ic.zx - m * c.x * c.z, Ic.zy - m * c.y * c.z, Ic.zz + m * (c.x * c.x + c.y * c.y)}};
  }

  /// The result is not finite for a massless body.
  constexpr Vector center_of_mass() const noexcept { return h / m; }
};
using Inertia = InertiaT<float>;
static_assert(std::is_trivially_copyable_v<Inertia> && sizeof(Inertia) == 10 * sizeof(float));

template <typename Function, typename Scalar, typename... Others>
constexpr auto map(const Function& f, const InertiaT<Scalar>& a, const Others&... others) noexcept {
  return InertiaT{f(a.m, others.m...), map(f, a.h, others.h...), map(f, a.I, others.I...)};
}

template <typename Scalar>
constexpr void put_in(InertiaT<Scalar>& to, const InertiaT<Scalar>& from) noexcept {
  to.m = from.m;
  put_in(to.h, from.h);
  to.I.xx = from.I.xx;
  to.I.yx = from.I.yx;
  to.I.yy = from.I.yy;
  to.I.zx = from.I.zx;
  to.I.zy = from.I.zy;
  to.I.zz = from.I.zz;
}

/// The inertia of two bodies joined into one; both in the same frame.
template <typename Scalar>
constexpr InertiaT<Scalar> operator+(const InertiaT<Scalar>& a, const InertiaT<Scalar>& b) noexcept {
  return {a.m + b.m, a.h + b.h, a.I + b.I};
}

/// Momentum of a body with velocity v, or the force that accelerates it by v.
template <typename Scalar, typename A, typename B>
constexpr ForceT<Scalar> operator*(const InertiaT<Scalar>& inertia, const MotionOf<A, B>& motion) noexcept {
  const auto& [m, h, I] = inertia;
  const auto& [w, v] = motion;
  return {dense<Scalar>(lowerTriangularToSymmetric(I) * w + cross(h, v)), dense<Scalar>(m * v - cross(h, w))};
}

}  // namespace metapod::Spatial
