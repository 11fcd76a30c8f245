#pragma once

/// Motion subspaces S of the two joint kinds: the columns are the motions that unit coordinate rates produce, in the
/// frame of the body that the joint carries. S is constant and made of zeros and ones, so it is a type without data and
/// its products pick components instead of multiplying.
/// Source: R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 4.4.

#include <array>
#include <cstddef>

#include "metapod/spatial/transform.h"
#include "metapod/spatial/unrolled.h"

namespace metapod::Spatial {

/// Coordinates, rates or generalized forces of one joint.
template <typename Scalar, std::size_t n>
using CoordinatesT = std::array<Scalar, n>;

/// One force per coordinate of a joint: the columns of a 6 x n matrix.
template <typename Scalar, std::size_t n>
using ForceSetT = std::array<ForceT<Scalar>, n>;

/// S^T, for products with forces.
template <typename Subspace>
struct TransposedT {};

/// Rotation about z: the one column (0, 0, 1, 0, 0, 0).
template <typename S>
struct ConstraintMotionAboutZT {
  using Scalar = S;
  static constexpr std::size_t dof = 1;

  constexpr TransposedT<ConstraintMotionAboutZT> transpose() const noexcept { return {}; }
};
using ConstraintMotionAboutZ = ConstraintMotionAboutZT<float>;

/// Free motion, [0, 1; 1, 0] in 3 x 3 blocks: three linear motions along x, y and z, then three rotations about them.
template <typename S>
struct ConstraintMotionFreeFlyerBodyT {
  using Scalar = S;
  static constexpr std::size_t dof = 6;

  constexpr TransposedT<ConstraintMotionFreeFlyerBodyT> transpose() const noexcept { return {}; }
};
using ConstraintMotionFreeFlyerBody = ConstraintMotionFreeFlyerBodyT<float>;

// ---- S times rates ----------------------------------------------------------------------------------------------

template <typename Scalar>
constexpr auto operator*(const ConstraintMotionAboutZT<Scalar>&, const CoordinatesT<Scalar, 1>& rates) noexcept {
  return MotionOf{VectorOf{Zero{}, Zero{}, rates[0]}, ZeroVector{}};
}

template <typename Scalar>
constexpr MotionT<Scalar> operator*(const ConstraintMotionFreeFlyerBodyT<Scalar>&,
                                    const CoordinatesT<Scalar, 6>& rates) noexcept {
  return {{rates[3], rates[4], rates[5]}, {rates[0], rates[1], rates[2]}};
}

// ---- S in cross products ----------------------------------------------------------------------------------------

/// m x S, the rate of S in a body that moves with m.
template <typename Scalar>
constexpr auto cross(const MotionT<Scalar>& m, const ConstraintMotionAboutZT<Scalar>&) noexcept {
  return MotionOf{VectorOf{m.w.y, -m.w.x, Zero{}}, VectorOf{m.v.y, -m.v.x, Zero{}}};
}

/// S x* f.
template <typename Scalar>
constexpr ForceT<Scalar> cross(const ConstraintMotionAboutZT<Scalar>&, const ForceT<Scalar>& force) noexcept {
  const auto& [n, f] = force;
  return {{-n.y, n.x, Scalar{}}, {-f.y, f.x, Scalar{}}};
}

// ---- Inertia times S --------------------------------------------------------------------------------------------

template <typename Scalar>
constexpr ForceSetT<Scalar, 1> operator*(const InertiaT<Scalar>& inertia,
                                         const ConstraintMotionAboutZT<Scalar>&) noexcept {
  const auto& [m, h, I] = inertia;
  return {{{{I.zx, I.zy, I.zz}, {-h.y, h.x, Scalar{}}}}};
}

template <typename Scalar>
constexpr ForceSetT<Scalar, 6> operator*(const InertiaT<Scalar>& inertia,
                                         const ConstraintMotionFreeFlyerBodyT<Scalar>&) noexcept {
  const auto& [m, h, I] = inertia;
  const Scalar zero{};
  // Linear directions e give (h x e, m e), angular ones (I e, -h x e).
  return {{{{zero, h.z, -h.y}, {m, zero, zero}},
           {{-h.z, zero, h.x}, {zero, m, zero}},
           {{h.y, -h.x, zero}, {zero, zero, m}},
           {{I.xx, I.yx, I.zx}, {zero, -h.z, h.y}},
           {{I.yx, I.yy, I.zy}, {h.z, zero, -h.x}},
           {{I.zx, I.zy, I.zz}, {-h.y, h.x, zero}}}};
}

// ---- S^T times forces; the forces may have another scalar, of which each lane is one force -------------------------

template <typename S, typename Scalar>
constexpr CoordinatesT<Scalar, 1> operator*(const TransposedT<ConstraintMotionAboutZT<S>>&,
                                            const ForceT<Scalar>& force) noexcept {
  return {force.n.z};
}

template <typename S, typename Scalar>
constexpr CoordinatesT<Scalar, 6> operator*(const TransposedT<ConstraintMotionFreeFlyerBodyT<S>>&,
                                            const ForceT<Scalar>& force) noexcept {
  const auto& [n, f] = force;
  return {f.x, f.y, f.z, n.x, n.y, n.z};
}

/// Column k is S^T times force k.
template <typename Subspace, typename Scalar, std::size_t n>
constexpr auto operator*(const TransposedT<Subspace>& St, const ForceSetT<Scalar, n>& forces) noexcept {
  std::array<CoordinatesT<Scalar, Subspace::dof>, n> columns{};
  unrolled<n>([&](auto k) { columns[k] = St * forces[k]; });
  return columns;
}

// ---- Transforms of S and of sets of forces ----------------------------------------------------------------------

/// S carried from B to A: the rotation axis z_A = E^T (0, 0, 1), and the motion of the point at A's origin, r x z_A,
/// formed in B as E^T ((E r) x (0, 0, 1)).
template <typename Scalar>
constexpr MotionT<Scalar> applyInv(const TransformT<RotationMatrixT<Scalar>>& X,
                                   const ConstraintMotionAboutZT<Scalar>&) noexcept {
  const auto& [x, y, z] = X.E.E;
  const auto r_B = X.E * X.r;
  return {{x.z, y.z, z.z}, {x.x * r_B.y - x.y * r_B.x, y.x * r_B.y - y.y * r_B.x, z.x * r_B.y - z.y * r_B.x}};
}

template <typename R, typename T, std::size_t n>
constexpr auto applyInv(const TransformT<R, T>& X, const ForceSetT<typename R::Scalar, n>& forces) noexcept {
  ForceSetT<typename R::Scalar, n> result{};
  unrolled<n>([&](auto k) { result[k] = X.applyInv(forces[k]); });
  return result;
}

}  // namespace metapod::Spatial
