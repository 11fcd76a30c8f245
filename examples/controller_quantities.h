#pragma once

/// Quantities that whole-body controllers need and that follow from the interface in a few lines.
///
/// All of them are in world axes. Columns belong to the coordinates of the interface, whose first six are the rates of
/// the root in its own frame, as setRootVelocity takes them. The jacobian of a body needs computeFwdKinematics, and the
/// others also need computeGeneralizedMass. They return fixed-size matrices and allocate nothing.

#include <vector>

#include "plugin/rigid_body_system.h"

namespace controller {

constexpr int coordinates = 30;
using BodyJacobian = Eigen::Matrix<float, 6, coordinates>;
using ComJacobian = Eigen::Matrix<float, 3, coordinates>;

inline Eigen::Matrix3f rotation(const QZ::Math::Transform& pose) {
  Eigen::Matrix3f R;
  R << pose.r00, pose.r01, pose.r02, pose.r10, pose.r11, pose.r12, pose.r20, pose.r21, pose.r22;
  return R;
}

inline Eigen::Vector3f origin(const QZ::Math::Transform& pose) { return {pose.tx, pose.ty, pose.tz}; }

/// Jacobian of body b: rows 0 to 2 its angular velocity, rows 3 to 5 the velocity of its origin.
/// `parents` is what getParentsVector returns; ask for it once, because it allocates.
inline BodyJacobian body_jacobian(const tesk::RigidBodySystem& robot, const std::vector<std::int64_t>& parents,
                                  unsigned long b) {
  const Eigen::Matrix3f R = rotation(robot.getRootPose());
  const Eigen::Vector3f p_root = origin(robot.getPoseInRoot(b));
  const auto& in_root = robot.getJacobianInRoot();
  BodyJacobian J = BodyJacobian::Zero();
  // A column of the interface moves the point at the root's origin; the point at p moves by the angular part times p
  // more.
  const auto take = [&](Eigen::Index d) {
    const Eigen::Vector3f angular_root = in_root.col(d).head<3>();
    const Eigen::Vector3f linear_root = in_root.col(d).tail<3>() + angular_root.cross(p_root);
    J.col(d) << R * angular_root, R * linear_root;
  };
  for (Eigen::Index d = 0; d < 6; ++d) take(d);
  for (auto i = static_cast<std::int64_t>(b); i > 0; i = parents[static_cast<std::size_t>(i)]) take(5 + i);
  return J;
}

/// Jacobian of the centre of mass. The first three rows of the mass matrix are the linear momentum in root axes.
inline ComJacobian com_jacobian(const tesk::RigidBodySystem& robot) {
  const Eigen::Matrix3f R = rotation(robot.getRootPose());
  // A product with rows of the dynamic matrix would be evaluated on the heap.
  const ComJacobian momentum_root = robot.getGeneralizedMass().topRows<3>();
  return R * momentum_root / robot.getMass();
}

/// Centroidal momentum matrix: rows 0 to 2 the angular momentum about the centre of mass, rows 3 to 5 the linear
/// momentum. Rows 3 to 5 of the mass matrix are the angular momentum about the root's origin, in root axes.
inline BodyJacobian centroidal_momentum(const tesk::RigidBodySystem& robot) {
  const Eigen::Matrix3f R = rotation(robot.getRootPose());
  const QZ::Math::Position3D& com = robot.getComPositionInRoot();
  const Eigen::Vector3f com_root(com.x, com.y, com.z);
  const Eigen::MatrixXf& M = robot.getGeneralizedMass();
  BodyJacobian A;
  for (Eigen::Index d = 0; d < coordinates; ++d) {
    const Eigen::Vector3f linear_root = M.block<3, 1>(0, d);
    const Eigen::Vector3f about_origin_root = M.block<3, 1>(3, d);
    A.col(d) << R * (about_origin_root - com_root.cross(linear_root)), R * linear_root;
  }
  return A;
}

}  // namespace controller
