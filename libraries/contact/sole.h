#pragma once

#include <Eigen/Geometry>
#include <vector>

#include "contact/sole_table.h"

namespace korvel::contact {

/// A flat, convex part of a body that may stand on the ground. Positions are in the body's frame [m].
class Sole {
 public:
  /// `corners_body`, at least three, lie within 10 m, and within a millimetre of one plane, in any order; none of them
  /// within the hull of the others. `friction` is that of the ground against the sole, at least 0. Throws
  /// std::invalid_argument with what was expected and found.
  Sole(unsigned long body, const std::vector<Eigen::Vector3d>& corners_body, double friction);

  unsigned long body() const { return body_; }
  double friction() const { return friction_; }
  /// Around the sole, one after the other.
  const std::vector<Eigen::Vector3d>& corners_body() const { return corners_body_; }
  /// The lowest of them where the body stands at a pose; z is up.
  const Eigen::Vector3d& lowest_corner_body(const Eigen::Isometry3d& pose) const;
  /// Centre of the area.
  const Eigen::Vector3d& centre_body() const { return centre_body_; }
  /// Unit normal of the plane nearest to the corners, on either side.
  const Eigen::Vector3d& normal_body() const { return normal_body_; }

 private:
  unsigned long body_;
  double friction_;
  std::vector<Eigen::Vector3d> corners_body_;
  Eigen::Vector3d centre_body_;
  Eigen::Vector3d normal_body_;
};

SoleTable table_of(const std::vector<Sole>& soles);

}  // namespace korvel::contact
