#pragma once

#include <Eigen/Geometry>
#include <vector>

namespace korvel::contact {

/// A flat, convex part of a body that may stand on the ground. Positions are in the body's frame [m].
class Sole {
 public:
  /// `corners`, at least three, lie within 10 m, and within a millimetre of one plane, in any order; none of them
  /// within the hull of the others. `friction` is that of the ground against the sole, at least 0. Throws
  /// std::invalid_argument with what was expected and found.
  Sole(unsigned long body, const std::vector<Eigen::Vector3d>& corners, double friction);

  unsigned long body() const { return body_; }
  double friction() const { return friction_; }
  /// Around the sole, one after the other.
  const std::vector<Eigen::Vector3d>& corners() const { return corners_; }
  /// The lowest of them where the body stands at a pose; z is up.
  const Eigen::Vector3d& lowest_corner(const Eigen::Isometry3d& pose) const;
  /// Of the area.
  const Eigen::Vector3d& centre() const { return centre_; }

 private:
  unsigned long body_;
  double friction_;
  std::vector<Eigen::Vector3d> corners_;
  Eigen::Vector3d centre_;
};

}  // namespace korvel::contact
