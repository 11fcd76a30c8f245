#pragma once

#include <Eigen/Geometry>

#include "qzmath/qzmath.h"

namespace korvel::host {

// Values of the interface in double precision.

inline Eigen::Vector3d vector(const QZ::Math::Position3D& point) {
  return Eigen::Map<const Eigen::Vector3f>(&point.x).cast<double>();
}

/// Linear part first.
inline Eigen::Matrix<double, 6, 1> vector(const QZ::Math::Velocity6D& v) {
  return Eigen::Map<const Eigen::Matrix<float, 6, 1>>(&v.x).cast<double>();
}

/// The result is as orthonormal as the pose.
inline Eigen::Isometry3d isometry(const QZ::Math::Transform& pose) {
  Eigen::Isometry3d result = Eigen::Isometry3d::Identity();
  result.matrix().topRows<3>() =
      Eigen::Map<const Eigen::Matrix<float, 3, 4, Eigen::RowMajor>>(&pose.r00).cast<double>();
  return result;
}

/// The rotation nearest to that of a pose, unit whatever its digits are.
inline Eigen::Quaterniond orientation(const QZ::Math::Transform& pose) {
  return Eigen::Quaterniond(Eigen::Affine3d(isometry(pose)).rotation()).normalized();
}

}  // namespace korvel::host
