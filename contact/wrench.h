#pragma once

#include <Eigen/Geometry>

namespace korvel::contact {

/// A force [N] and a moment [N m] about a point that the context names, both in axes that it names. As in the
/// interface, the linear part comes first.
struct Wrench {
  Eigen::Vector3d force = Eigen::Vector3d::Zero();
  Eigen::Vector3d moment = Eigen::Vector3d::Zero();
};

/// The same wrench in other axes: `rotation` maps coordinates from the old to the new ones.
inline Wrench rotated(const Eigen::Matrix3d& rotation, const Wrench& wrench) {
  return {rotation * wrench.force, rotation * wrench.moment};
}

/// The same wrench with its moment about another point, `to_point` from the old one.
inline Wrench moved(const Wrench& wrench, const Eigen::Vector3d& to_point) {
  return {wrench.force, wrench.moment - to_point.cross(wrench.force)};
}

inline constexpr double gravity = 9.81;  ///< [m/s^2]

/// Less of the weight than that is no load: what is a quotient by it would mean nothing.
inline constexpr double least_load = 1e-3;

/// What makes moments comparable with forces: those about a metre count ten times as much as those about a decimetre.
inline constexpr double moment_length = 0.1;  // [m]

}  // namespace korvel::contact
