#pragma once

#include <Eigen/Core>

#include "qzmath/qzmath.h"

namespace korvel::host {

/// The root's pose in the world and its rates in the root frame, as the interface takes them.
struct RootMotion {
  QZ::Math::Transform pose;
  QZ::Math::Velocity6D velocity;
  QZ::Math::Velocity6D acceleration;
};

/// From the coordinates x, y, z, roll, pitch, yaw and their first and second time derivatives, the orientation being
/// Rz(yaw) Ry(pitch) Rx(roll). Regular for all angles.
RootMotion root_motion(const Eigen::Matrix<double, 6, 1>& q, const Eigen::Matrix<double, 6, 1>& dq,
                       const Eigen::Matrix<double, 6, 1>& ddq);

}  // namespace korvel::host
