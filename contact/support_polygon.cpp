#include "contact/support_polygon.h"

#include <algorithm>
#include <boost/geometry/algorithms/centroid.hpp>
#include <boost/geometry/algorithms/convex_hull.hpp>
#include <boost/geometry/algorithms/covered_by.hpp>
#include <boost/geometry/geometries/multi_point.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/ring.hpp>
#include <boost/geometry/strategies/strategies.hpp>

namespace korvel::contact {

namespace {

using Point = boost::geometry::model::d2::point_xy<double>;
constexpr bool clockwise = false;
constexpr bool closed = true;
using Ring = boost::geometry::model::ring<Point, clockwise, closed>;

Point boosted(const Eigen::Vector2d& point) { return {point.x(), point.y()}; }

Ring ring_of(const std::vector<Eigen::Vector2d>& corners) {
  Ring ring;
  for (const Eigen::Vector2d& corner : corners) ring.push_back(boosted(corner));
  ring.push_back(ring.front());
  return ring;
}

Eigen::Vector2d nearest_on_segment(const Eigen::Vector2d& a, const Eigen::Vector2d& b, const Eigen::Vector2d& point) {
  const Eigen::Vector2d along = b - a;
  const double square = along.squaredNorm();
  if (!(square > 0)) return a;
  return a + std::clamp((point - a).dot(along) / square, 0.0, 1.0) * along;
}

}  // namespace

SupportPolygon::SupportPolygon(const std::vector<Eigen::Vector2d>& points) {
  boost::geometry::model::multi_point<Point> all;
  for (const Eigen::Vector2d& point : points) all.push_back(boosted(point));
  Ring hull;
  boost::geometry::convex_hull(all, hull);
  for (const Point& point : hull) corners_.emplace_back(point.x(), point.y());
  // The ring ends where it began.
  if (!corners_.empty()) corners_.pop_back();
}

Eigen::Vector2d SupportPolygon::centre() const {
  Point centre(0, 0);
  boost::geometry::centroid(ring_of(corners_), centre);
  return {centre.x(), centre.y()};
}

double SupportPolygon::margin(const Eigen::Vector2d& point) const {
  const double distance = (nearest_on_boundary(point) - point).norm();
  return covers(point) ? distance : -distance;
}

Eigen::Vector2d SupportPolygon::excess(const Eigen::Vector2d& point) const {
  if (covers(point)) return Eigen::Vector2d::Zero();
  return point - nearest_on_boundary(point);
}

bool SupportPolygon::covers(const Eigen::Vector2d& point) const {
  return boost::geometry::covered_by(boosted(point), ring_of(corners_));
}

Eigen::Vector2d SupportPolygon::nearest_on_boundary(const Eigen::Vector2d& point) const {
  Eigen::Vector2d nearest = corners_.front();
  for (std::size_t i = 0; i < corners_.size(); ++i) {
    const Eigen::Vector2d candidate = nearest_on_segment(corners_[i], corners_[(i + 1) % corners_.size()], point);
    if ((candidate - point).squaredNorm() < (nearest - point).squaredNorm()) nearest = candidate;
  }
  return nearest;
}

}  // namespace korvel::contact
