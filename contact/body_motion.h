#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>

namespace korvel::contact {

/// How a body moves: angular velocity [rad/s], and linear velocity of its point at the origin of the axes in which both
/// are told [m/s].
struct BodyMotion {
  Eigen::Vector3d angular, linear;

  /// With a joint that carries the body: its rate, and its column of a jacobian, angular rows first.
  void add(double rate, const Eigen::Matrix<double, 6, 1>& column) {
    angular += rate * column.head<3>();
    linear += rate * column.tail<3>();
  }

  /// Of its point that is there.
  Eigen::Vector3d of_point(const Eigen::Vector3d& point) const { return linear + angular.cross(point); }
};

}  // namespace korvel::contact
