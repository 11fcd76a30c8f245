#pragma once

#include "metapod/spatial/motion_subspace.h"

namespace metapod::Spatial {

/// The velocity product of a rigid body with inertia I and velocity v: C x = v x* I x - I (v x x) + x x* I v, the rate
/// of the force on the body per unit rate of x where x is both a velocity and a change of place. As a 6 x 6 matrix it
/// is [T, 0; [Q]x, 0]; that matrix is never formed. It ignores the linear part of x. Source: S. Singh, R. Russell, P.
/// Wensing, Efficient Analytical Derivatives of Rigid-Body Dynamics using Spatial Vector Algebra, 2022: B of a body,
/// twice; in the frame of the body twelve numbers are left of it.
template <typename Scalar>
struct VelocityProductT {
  using Vector = Vector3T<Scalar>;

  Matrix3T<Scalar> T;  ///< moment per angular part [kg m^2/s]
  Vector Q;            ///< minus twice the linear momentum: the force is Q x angular part [kg m/s]

  VelocityProductT() = default;
  constexpr VelocityProductT(const Matrix3T<Scalar>& moment, const Vector& force) noexcept : T(moment), Q(force) {}

  /// T = w x N - 2 [h]x [v]x with N = 2 I - tr(I) 1, w x N column by column.
  constexpr VelocityProductT(const InertiaT<Scalar>& inertia, const MotionT<Scalar>& velocity,
                             const Vector& linear_momentum) noexcept {
    const Vector& h = inertia.h;
    const SymmetricMatrix3T<Scalar>& I = inertia.I;
    const auto& [w, v] = velocity;
    const Scalar two(2);
    const Vector twice_v = two * v;
    const Scalar h_v = dot(h, twice_v);
    const Vector column0 = cross(w, Vector{I.xx - I.yy - I.zz, two * I.yx, two * I.zx}) - h.x * twice_v;
    const Vector column1 = cross(w, Vector{two * I.yx, I.yy - I.xx - I.zz, two * I.zy}) - h.y * twice_v;
    const Vector column2 = cross(w, Vector{two * I.zx, two * I.zy, I.zz - I.xx - I.yy}) - h.z * twice_v;
    T = {{column0.x + h_v, column0.y, column0.z},
         {column1.x, column1.y + h_v, column1.z},
         {column2.x, column2.y, column2.z + h_v}};
    Q = -(two * linear_momentum);
  }
};

template <typename Scalar>
constexpr void put_in(VelocityProductT<Scalar>& to, const VelocityProductT<Scalar>& from) noexcept {
  put_in(to.T.column0, from.T.column0);
  put_in(to.T.column1, from.T.column1);
  put_in(to.T.column2, from.T.column2);
  put_in(to.Q, from.Q);
}

template <typename Scalar>
constexpr VelocityProductT<Scalar> operator+(const VelocityProductT<Scalar>& a,
                                             const VelocityProductT<Scalar>& b) noexcept {
  return {{a.T.column0 + b.T.column0, a.T.column1 + b.T.column1, a.T.column2 + b.T.column2}, a.Q + b.Q};
}

template <typename Scalar, typename A, typename B>
constexpr ForceT<Scalar> operator*(const VelocityProductT<Scalar>& C, const MotionOf<A, B>& x) noexcept {
  return {C.T * x.w, cross(C.Q, x.w)};
}

template <typename Scalar>
constexpr ForceT<Scalar> operator*(const VelocityProductT<Scalar>& C, const ConstraintMotionAboutZT<Scalar>&) noexcept {
  return {C.T.column2, {C.Q.y, -C.Q.x, Scalar{}}};
}

/// S^T C, which has no linear part.
template <typename S, typename Scalar>
constexpr Vector3T<Scalar> operator*(const TransposedT<ConstraintMotionAboutZT<S>>&,
                                     const VelocityProductT<Scalar>& C) noexcept {
  return {C.T.column0.z, C.T.column1.z, C.T.column2.z};
}

/// E^T T E, the matrix T of frame B turned into the axes of frame A.
template <typename Scalar, typename M, unsigned lanes>
constexpr Matrix3T<Scalar> rotated_back(const RotationOf<Scalar, M, lanes>& R, const Matrix3T<Scalar>& T) noexcept {
  const auto TE = T * R.E;
  return {R.applyTransposed(TE.column0), R.applyTransposed(TE.column1), R.applyTransposed(TE.column2)};
}

template <typename Scalar>
constexpr Matrix3T<Scalar> rotated_back(const RotationMatrixAboutZT<Scalar>& R, const Matrix3T<Scalar>& T) noexcept {
  const auto& [c, s] = R;
  return {R.applyTransposed(c * T.column0 - s * T.column1), R.applyTransposed(s * T.column0 + c * T.column1),
          R.applyTransposed(T.column2)};
}

/// Transforms from B to A: turns T and adds [r]x [Q]x, where [a]x [b]x = b a^T - (a b) 1.
template <typename R, typename Translation>
constexpr auto applyInv(const TransformT<R, Translation>& X, const VelocityProductT<typename R::Scalar>& C) noexcept {
  using Scalar = typename R::Scalar;
  const auto T = rotated_back(X.E, C.T);
  const Vector3T<Scalar> Q = X.E.applyTransposed(C.Q);
  const auto r_Q = dot(X.r, Q);
  const auto times = [&Q](const auto& r) { return map([&](const Scalar& x) { return r * x; }, Q); };
  const Vector3T<Scalar> column0 = T.column0 + times(X.r.x);
  const Vector3T<Scalar> column1 = T.column1 + times(X.r.y);
  const Vector3T<Scalar> column2 = T.column2 + times(X.r.z);
  return VelocityProductT<Scalar>({{column0.x - r_Q, column0.y, column0.z},
                                   {column1.x, column1.y - r_Q, column1.z},
                                   {column2.x, column2.y, column2.z - r_Q}},
                                  Q);
}

}  // namespace metapod::Spatial
