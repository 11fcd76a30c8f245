#include "host/motion/root_motion.h"

#include <Eigen/Geometry>

namespace korvel::host {

namespace {

using Eigen::AngleAxisd;
using Eigen::Matrix3d;
using Eigen::Vector3d;

QZ::Math::Transform to_pose(const Matrix3d& R_world, const Vector3d& t_world) {
  const Eigen::Matrix3f R = R_world.cast<float>();
  const Eigen::Vector3f t = t_world.cast<float>();
  QZ::Math::Transform pose;
  pose.r00 = R(0, 0), pose.r01 = R(0, 1), pose.r02 = R(0, 2), pose.tx = t.x();
  pose.r10 = R(1, 0), pose.r11 = R(1, 1), pose.r12 = R(1, 2), pose.ty = t.y();
  pose.r20 = R(2, 0), pose.r21 = R(2, 1), pose.r22 = R(2, 2), pose.tz = t.z();
  return pose;
}

QZ::Math::Velocity6D to_velocity6d(const Vector3d& linear, const Vector3d& angular) {
  const Eigen::Vector3f l = linear.cast<float>();
  const Eigen::Vector3f a = angular.cast<float>();
  return {l.x(), l.y(), l.z(), a.x(), a.y(), a.z()};
}

}  // namespace

RootMotion root_motion(const Eigen::Matrix<double, 6, 1>& q, const Eigen::Matrix<double, 6, 1>& dq,
                       const Eigen::Matrix<double, 6, 1>& ddq) {
  const Matrix3d Rx = AngleAxisd(q[3], Vector3d::UnitX()).toRotationMatrix();
  const Matrix3d Ry = AngleAxisd(q[4], Vector3d::UnitY()).toRotationMatrix();
  const Matrix3d Rz = AngleAxisd(q[5], Vector3d::UnitZ()).toRotationMatrix();
  const Matrix3d R = Rz * Ry * Rx;

  // The axes about which the three angles turn, seen from the root. Each is fixed in the frame that the later
  // rotations carry along, and so turns against the root with the angles between the two.
  const Vector3d axis_roll = Vector3d::UnitX();
  const Vector3d axis_pitch = Rx.transpose() * Vector3d::UnitY();
  const Vector3d axis_yaw = Rx.transpose() * Ry.transpose() * Vector3d::UnitZ();
  const Vector3d w_roll = dq[3] * axis_roll;
  const Vector3d w_roll_pitch = w_roll + dq[4] * axis_pitch;

  const Vector3d w_root = w_roll_pitch + dq[5] * axis_yaw;
  const Vector3d dw_root = ddq[3] * axis_roll + ddq[4] * axis_pitch + ddq[5] * axis_yaw -
                           dq[4] * w_roll.cross(axis_pitch) - dq[5] * w_roll_pitch.cross(axis_yaw);
  const Vector3d v_root = R.transpose() * dq.head<3>();
  const Vector3d dv_root = R.transpose() * ddq.head<3>() - w_root.cross(v_root);

  return {to_pose(R, q.head<3>()), to_velocity6d(v_root, w_root), to_velocity6d(dv_root, dw_root)};
}

}  // namespace korvel::host
