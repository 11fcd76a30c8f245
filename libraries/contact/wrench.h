#pragma once

#include <Eigen/Geometry>

#include "contact/verdict.h"
#include "metapod/spatial/vector3.h"

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

/// Vectors as the text for any number has them, and back.
inline metapod::Spatial::Vector3T<double> plain(const Eigen::Vector3d& v) { return {v.x(), v.y(), v.z()}; }
inline Eigen::Vector3d vector(const metapod::Spatial::Vector3T<double>& v) { return {v.x, v.y, v.z}; }

}  // namespace korvel::contact
