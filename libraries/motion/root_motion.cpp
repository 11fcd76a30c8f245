#include "motion/root_motion.h"

#include <Eigen/Geometry>

namespace korvel::host {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

QZ::Math::Transform to_pose(const Matrix3d& R_world, const Vector3d& t_world) {
  QZ::Math::Transform pose;
  Eigen::Map<Eigen::Matrix<float, 3, 4, Eigen::RowMajor>>(&pose.r00) << R_world.cast<float>(), t_world.cast<float>();
  return pose;
}

QZ::Math::Velocity6D to_velocity6d(const Vector3d& linear, const Vector3d& angular) {
  QZ::Math::Velocity6D rates;
  Eigen::Map<Eigen::Matrix<float, 6, 1>>(&rates.x) << linear.cast<float>(), angular.cast<float>();
  return rates;
}

Eigen::Quaterniond quaternion_of(const Eigen::Vector4d& wxyz) { return {wxyz[0], wxyz[1], wxyz[2], wxyz[3]}; }

}  // namespace

RootMotion root_motion(const Moving<3>& position, const Moving<4>& quaternion) {
  const Eigen::Quaterniond p = quaternion_of(quaternion.value);
  const Eigen::Quaterniond p_inverse = p.inverse();
  const Eigen::Quaterniond rate = p_inverse * quaternion_of(quaternion.first);
  const Matrix3d R = p.normalized().toRotationMatrix();

  const Vector3d w_root = 2 * rate.vec();
  const Vector3d dw_root = 2 * (p_inverse * quaternion_of(quaternion.second)).vec() - 2 * rate.w() * w_root;
  const Vector3d v_root = R.transpose() * position.first;
  const Vector3d dv_root = R.transpose() * position.second - w_root.cross(v_root);
  return {to_pose(R, position.value), to_velocity6d(v_root, w_root), to_velocity6d(dv_root, dw_root)};
}

}  // namespace korvel::host
