#include "contact/sole.h"

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "contact/support_polygon.h"

namespace korvel::contact {

namespace {

constexpr double flatness = 1e-3;  // [m]
constexpr int farthest = 10;       // a corner from its body [m]

[[noreturn]] void refuse(const std::string& text) { throw std::invalid_argument(text); }

}  // namespace

Sole::Sole(unsigned long body, const std::vector<Eigen::Vector3d>& corners, double friction)
    : body_(body), friction_(friction) {
  if (!(std::isfinite(friction) && friction >= 0)) refuse("expected a friction of at least 0");
  if (corners.size() < 3) refuse("expected at least 3 corners of a sole, found " + std::to_string(corners.size()));
  Eigen::Matrix3Xd table(3, static_cast<Eigen::Index>(corners.size()));
  for (std::size_t i = 0; i < corners.size(); ++i) table.col(static_cast<Eigen::Index>(i)) = corners[i];
  if (!table.allFinite()) refuse("expected corners at finite positions");
  if (table.cwiseAbs().maxCoeff() > farthest) {
    refuse("expected corners within " + std::to_string(int{farthest}) +
           " m of the body's origin: are these millimetres?");
  }

  // The plane through the mean whose normal is the direction of least extent.
  const Eigen::Vector3d mean = table.rowwise().mean();
  const Eigen::Matrix3Xd arms = table.colwise() - mean;
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> extents(arms * arms.transpose());
  // From the largest extent to the least.
  const Eigen::Matrix3d axes = extents.eigenvectors().rowwise().reverse();
  const Eigen::Matrix3Xd in_plane = axes.transpose() * arms;
  if (in_plane.row(2).cwiseAbs().maxCoeff() > flatness) {
    refuse("expected the corners of a sole in one plane, to a millimetre");
  }
  if (in_plane.row(1).cwiseAbs().maxCoeff() <= flatness) refuse("expected the corners of a sole not to lie on a line");

  std::vector<Eigen::Vector2d> points;
  for (Eigen::Index i = 0; i < in_plane.cols(); ++i) points.emplace_back(in_plane.col(i).head<2>());
  const SupportPolygon hull(points);
  const double extent = in_plane.cwiseAbs().maxCoeff();
  for (const Eigen::Vector2d& point : points) {
    if (hull.margin(point) > 1e-6 * extent) refuse("expected a convex sole, found a corner within it");
  }
  const auto place = [&](const Eigen::Vector2d& point) -> Eigen::Vector3d { return mean + axes.leftCols<2>() * point; };
  // The numbers that were given, not those that went through the plane.
  for (const Eigen::Vector2d& corner : hull.corners()) {
    const auto given = std::min_element(points.begin(), points.end(), [&](const auto& a, const auto& b) {
      return (a - corner).squaredNorm() < (b - corner).squaredNorm();
    });
    corners_.push_back(corners[static_cast<std::size_t>(given - points.begin())]);
  }
  centre_ = place(hull.centre());
}

const Eigen::Vector3d& Sole::lowest_corner(const Eigen::Isometry3d& pose) const {
  const auto lower = [&](const Eigen::Vector3d& a, const Eigen::Vector3d& b) {
    return (pose * a).z() < (pose * b).z();
  };
  return *std::min_element(corners_.begin(), corners_.end(), lower);
}

}  // namespace korvel::contact
