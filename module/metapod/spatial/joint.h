#pragma once

/// The two joint kinds. A joint turns its coordinates, and the sines and cosines of those that are angles, into the
/// joint transform Xj, from the joint's frame at zero to the frame of the body that it carries, and its rates into the
/// joint velocity vj = S dq, in body axes. Positions alone leave vj as it was.
///
/// Source: R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 4.4 (jcalc).

#include "metapod/spatial/motion_subspace.h"

namespace metapod {

/// Positions of a joint. Sines and cosines stand at the places of their angles; at those of lengths there is nothing.
template <typename Coordinates>
struct JointPositionsT {
  Coordinates q;
  Coordinates sine;
  Coordinates cosine;
};

/// The members that both kinds have: subspace, bias acceleration, transform and velocity.
template <typename MotionSubspace, typename JointTransform>
struct JointT {
  using Scalar = typename MotionSubspace::Scalar;
  using Transform = JointTransform;
  using Coordinates = Spatial::CoordinatesT<Scalar, MotionSubspace::dof>;
  using Positions = JointPositionsT<Coordinates>;

  static constexpr int dof = static_cast<int>(MotionSubspace::dof);
  static constexpr MotionSubspace S{};
  static constexpr Spatial::MotionT<Spatial::Zero> cj{};  ///< bias acceleration: S is constant in the body's frame

  using Velocity = decltype(S * Coordinates{});

  void jcalc_vel(const Coordinates& dq) noexcept { vj = S * dq; }

  Transform Xj{};
  Velocity vj{};
};

/// Rotation about the z axis of the joint's frame by one angle [rad].
template <typename Scalar>
struct RevoluteJointAboutZT : JointT<Spatial::ConstraintMotionAboutZT<Scalar>,
                                     Spatial::TransformT<Spatial::RotationMatrixAboutZT<Scalar>, Spatial::ZeroVector>> {
  using Base = typename RevoluteJointAboutZT::JointT;
  using typename Base::Coordinates;
  using typename Base::Positions;

  void jcalcPos(const Positions& position) noexcept { this->Xj.E = {position.cosine[0], position.sine[0]}; }

  void jcalc(const Positions& position, const Coordinates& dq) noexcept {
    jcalcPos(position);
    this->jcalc_vel(dq);
  }
};
using RevoluteJointAboutZ = RevoluteJointAboutZT<float>;

/// Six coordinates: the position of the body's origin in the parent frame [m], then roll, pitch and yaw [rad] of its
/// orientation Rz(q5) Ry(q4) Rx(q3). The rates are the linear and the angular velocity in the body's frame, not the
/// derivatives of the coordinates. At pitch +-pi/2 roll and yaw turn about the same axis.
template <typename Scalar>
struct FreeFlyerBodyJointT
    : JointT<Spatial::ConstraintMotionFreeFlyerBodyT<Scalar>, Spatial::TransformT<Spatial::RotationMatrixT<Scalar>>> {
  using Base = typename FreeFlyerBodyJointT::JointT;
  using typename Base::Coordinates;
  using typename Base::Positions;

  static constexpr int first_angle = 3;

  void jcalcPos(const Positions& position) noexcept {
    const auto& [q, s, c] = position;
    const auto &s3 = s[3], &s4 = s[4], &s5 = s[5];
    const auto &c3 = c[3], &c4 = c[4], &c5 = c[5];
    // E is the transposed orientation. The order of the factors fixes the last bits.
    const Spatial::Matrix3T<Scalar> E{{c4 * c5, s4 * (s3 * c5) - c3 * s5, s3 * s5 + c5 * c3 * s4},
                                      {c4 * s5, s3 * s4 * s5 + c5 * c3, s4 * c3 * s5 - s3 * c5},
                                      {-s4, s3 * c4, c3 * c4}};
    this->Xj = {Spatial::RotationMatrixT<Scalar>(E), {q[0], q[1], q[2]}};
  }

  void jcalc(const Positions& position, const Coordinates& dq) noexcept {
    jcalcPos(position);
    this->jcalc_vel(dq);
  }
};
using FreeFlyerBodyJoint = FreeFlyerBodyJointT<float>;

}  // namespace metapod
