#pragma once

#include <Eigen/Core>
#include <vector>

namespace korvel::contact {

/// The convex hull of points on the ground [m]. It may have no area, where they lie on a line.
class SupportPolygon {
 public:
  SupportPolygon() = default;
  explicit SupportPolygon(const std::vector<Eigen::Vector2d>& points);

  bool empty() const { return corners_.empty(); }
  /// Around it, counter-clockwise as seen from above.
  const std::vector<Eigen::Vector2d>& corners() const { return corners_; }
  /// The centre of its area.
  Eigen::Vector2d centre() const;

  /// The distance of a point from the boundary, negative outside. Not of an empty polygon.
  double margin(const Eigen::Vector2d& point) const;
  /// From the nearest point of the polygon to `point`, zero inside. Not of an empty polygon.
  Eigen::Vector2d excess(const Eigen::Vector2d& point) const;

 private:
  bool covers(const Eigen::Vector2d& point) const;
  Eigen::Vector2d nearest_on_boundary(const Eigen::Vector2d& point) const;

  std::vector<Eigen::Vector2d> corners_;
};

}  // namespace korvel::contact
