#pragma once

/// The two joint kinds. A joint turns its coordinates into the joint transform Xj, from the joint's frame at zero to
/// the frame of the body that it carries, and its rates into the joint velocity vj = S dq, in body axes. Positions
/// alone leave vj as it was. Source: R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 4.4 (jcalc).

#include "metapod/spatial/motion_subspace.h"
#include "metapod/spatial/sine_cosine.h"

namespace metapod {

/// What both kinds have: subspace, bias acceleration, transform and velocity.
template <typename MotionSubspace, typename Rotation>
struct JointT {
  using Scalar = typename MotionSubspace::Scalar;
  using Motion = Spatial::MotionT<Scalar>;
  using Transform = Spatial::TransformT<Rotation>;
  using Coordinates = Spatial::CoordinatesT<Scalar, MotionSubspace::dof>;

  static constexpr int dof = static_cast<int>(MotionSubspace::dof);
  static constexpr MotionSubspace S{};
  static constexpr Motion cj{};  ///< bias acceleration: S is constant in the body's frame

  Transform Xj{};
  Motion vj{};
};

/// Rotation about the z axis of the joint's frame by one angle [rad].
template <typename Scalar>
struct RevoluteJointAboutZT : JointT<Spatial::ConstraintMotionAboutZT<Scalar>, Spatial::RotationMatrixAboutZT<Scalar>> {
  using Base = JointT<Spatial::ConstraintMotionAboutZT<Scalar>, Spatial::RotationMatrixAboutZT<Scalar>>;
  using typename Base::Coordinates;

  void jcalcPos(const Coordinates& q) noexcept {
    const auto [s, c] = Spatial::sine_cosine(q[0]);
    this->Xj = {{c, s}, {}};
  }

  void jcalc(const Coordinates& q, const Coordinates& dq) noexcept {
    jcalcPos(q);
    this->vj = Base::S * dq;
  }
};
using RevoluteJointAboutZ = RevoluteJointAboutZT<float>;

/// Six coordinates: the position of the body's origin in the parent frame [m], then roll, pitch and yaw [rad] of its
/// orientation Rz(q5) Ry(q4) Rx(q3). The rates are the linear and the angular velocity in the body's frame, not the
/// derivatives of the coordinates. At pitch +-pi/2 roll and yaw turn about the same axis.
template <typename Scalar>
struct FreeFlyerBodyJointT : JointT<Spatial::ConstraintMotionFreeFlyerBodyT<Scalar>, Spatial::RotationMatrixT<Scalar>> {
  using Base = JointT<Spatial::ConstraintMotionFreeFlyerBodyT<Scalar>, Spatial::RotationMatrixT<Scalar>>;
  using typename Base::Coordinates;

  void jcalcPos(const Coordinates& q) noexcept {
    const auto [s3, c3] = Spatial::sine_cosine(q[3]);
    const auto [s4, c4] = Spatial::sine_cosine(q[4]);
    const auto [s5, c5] = Spatial::sine_cosine(q[5]);
    // E is the transposed orientation. The order of the factors fixes the last bits.
    const Spatial::Matrix3T<Scalar> E{{c4 * c5, s4 * (s3 * c5) - c3 * s5, s3 * s5 + c5 * c3 * s4},
                                      {c4 * s5, s3 * s4 * s5 + c5 * c3, s4 * c3 * s5 - s3 * c5},
                                      {-s4, s3 * c4, c3 * c4}};
    this->Xj = {Spatial::RotationMatrixT<Scalar>(E), {q[0], q[1], q[2]}};
  }

  void jcalc(const Coordinates& q, const Coordinates& dq) noexcept {
    jcalcPos(q);
    this->vj = Base::S * dq;
  }
};
using FreeFlyerBodyJoint = FreeFlyerBodyJointT<float>;

}  // namespace metapod
