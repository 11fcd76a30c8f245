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

/// A quantity at one instant, with its time derivatives.
template <int n>
struct Moving {
  Eigen::Matrix<double, n, 1> value, first, second;
};

/// Computes the root's motion from its position in the world and from a quaternion w, x, y, z that stands for its
/// orientation. The quaternion may have any length but zero. Source: with p the quaternion and p^-1 p' = s + w/2, the
/// angular velocity in the root is w, and its derivative 2 vec(p^-1 p'') - 2 s w; J. B. Kuipers, Quaternions and
/// Rotation Sequences, 1999, ch. 11.
RootMotion root_motion(const Moving<3>& position, const Moving<4>& quaternion);

}  // namespace korvel::host
