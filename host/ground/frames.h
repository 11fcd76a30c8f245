#pragma once

#include <Eigen/Geometry>

#include "qzmath/qzmath.h"

namespace korvel::host {

/// A pose of the interface in double precision, whose rotation is orthonormal as far as that of the pose is.
inline Eigen::Isometry3d isometry(const QZ::Math::Transform& pose) {
  Eigen::Isometry3d result = Eigen::Isometry3d::Identity();
  result.matrix().topRows<3>() << pose.r00, pose.r01, pose.r02, pose.tx,  //
      pose.r10, pose.r11, pose.r12, pose.ty,                              //
      pose.r20, pose.r21, pose.r22, pose.tz;
  return result;
}

}  // namespace korvel::host
