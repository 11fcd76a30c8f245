#pragma once

#include <Eigen/Geometry>

#include "qzmath/qzmath.h"

namespace korvel::host {

// Values of the interface in double precision.

inline Eigen::Vector3d vector(const QZ::Math::Position3D& point) {
  return Eigen::Vector3f(point.x, point.y, point.z).cast<double>();
}

/// Linear part first.
inline Eigen::Matrix<double, 6, 1> vector(const QZ::Math::Velocity6D& v) {
  return (Eigen::Matrix<float, 6, 1>() << v.x, v.y, v.z, v.wx, v.wy, v.wz).finished().cast<double>();
}

/// The result is as orthonormal as the pose.
inline Eigen::Isometry3d isometry(const QZ::Math::Transform& pose) {
  Eigen::Isometry3f result = Eigen::Isometry3f::Identity();
  result.matrix().topRows<3>() << pose.r00, pose.r01, pose.r02, pose.tx,  //
      pose.r10, pose.r11, pose.r12, pose.ty,                              //
      pose.r20, pose.r21, pose.r22, pose.tz;
  return result.cast<double>();
}

/// The rotation nearest to that of a pose, unit whatever its digits are.
inline Eigen::Quaterniond orientation(const QZ::Math::Transform& pose) {
  return Eigen::Quaterniond(Eigen::Affine3d(isometry(pose)).rotation()).normalized();
}

}  // namespace korvel::host
