#include "contact/sole.h"

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numeric>
#include <stdexcept>
#include <string>

#include "contact/wrench.h"

namespace korvel::contact {

namespace {

constexpr double flatness = 1e-3;  // [m]
constexpr int farthest = 10;       // a corner from its body [m]

[[noreturn]] void refuse(const std::string& text) { throw std::invalid_argument(text); }

double cross(const Eigen::Vector2d& a, const Eigen::Vector2d& b) { return a.x() * b.y() - a.y() * b.x(); }

}  // namespace

Sole::Sole(unsigned long body, const std::vector<Eigen::Vector3d>& corners_body, double friction)
    : body_(body), friction_(friction) {
  if (!(std::isfinite(friction) && friction >= 0)) refuse("expected a friction of at least 0");
  if (corners_body.size() < 3) {
    refuse("expected at least 3 corners of a sole, found " + std::to_string(corners_body.size()));
  }
  Eigen::Matrix3Xd table(3, static_cast<Eigen::Index>(corners_body.size()));
  for (std::size_t i = 0; i < corners_body.size(); ++i) table.col(static_cast<Eigen::Index>(i)) = corners_body[i];
  if (!table.allFinite()) refuse("expected corners at finite positions");
  if (table.cwiseAbs().maxCoeff() > farthest) {
    refuse("expected corners within " + std::to_string(int{farthest}) +
           " m of the body's origin: are these millimetres?");
  }

  // The plane through the mean whose normal is the direction of least extent.
  const Eigen::Vector3d mean = table.rowwise().mean();
  const Eigen::Matrix3Xd arms = table.colwise() - mean;
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> extents(arms * arms.transpose());
  // The axes go from the largest extent to the smallest.
  const Eigen::Matrix3d axes = extents.eigenvectors().rowwise().reverse();
  const Eigen::Matrix3Xd in_plane = axes.transpose() * arms;
  if (in_plane.row(2).cwiseAbs().maxCoeff() > flatness) {
    refuse("expected the corners of a sole in one plane, to a millimetre");
  }
  if (in_plane.row(1).cwiseAbs().maxCoeff() <= flatness) refuse("expected the corners of a sole not to lie on a line");

  // Around the mean, which is within.
  std::vector<Eigen::Index> around(corners_body.size());
  std::iota(around.begin(), around.end(), 0);
  const auto angle = [&](Eigen::Index i) { return std::atan2(in_plane(1, i), in_plane(0, i)); };
  std::sort(around.begin(), around.end(), [&](Eigen::Index i, Eigen::Index j) { return angle(i) < angle(j); });
  const double least = 1e-6 * in_plane.cwiseAbs().maxCoeff();
  const auto coincide = [&](Eigen::Index i, Eigen::Index j) {
    return (in_plane.col(i) - in_plane.col(j)).norm() <= least;
  };
  around.erase(std::unique(around.begin(), around.end(), coincide), around.end());
  if (coincide(around.front(), around.back())) around.pop_back();
  const auto point = [&](std::size_t k) -> Eigen::Vector2d {
    return in_plane.col(around[k % around.size()]).head<2>();
  };
  double area = 0;
  Eigen::Vector2d centre = Eigen::Vector2d::Zero();
  for (std::size_t k = 0; k < around.size(); ++k) {
    // The distance of the next corner beyond the line between its neighbours.
    const Eigen::Vector2d side = point(k + 2) - point(k);
    const double beyond = cross(point(k + 1) - point(k), side) / side.norm();
    if (beyond < -least) refuse("expected a convex sole, found a corner within it");
    if (beyond > least)
      corners_body_.push_back(corners_body[static_cast<std::size_t>(around[(k + 1) % around.size()])]);
    const double triangle = cross(point(k), point(k + 1));
    area += triangle;
    centre += triangle / 3 * (point(k) + point(k + 1));
  }
  centre_body_ = mean + axes.leftCols<2>() * (centre / area);
  normal_body_ = axes.col(2);
}

const Eigen::Vector3d& Sole::lowest_corner_body(const Eigen::Isometry3d& pose) const {
  const auto lower = [&](const Eigen::Vector3d& a, const Eigen::Vector3d& b) {
    return (pose * a).z() < (pose * b).z();
  };
  return *std::min_element(corners_body_.begin(), corners_body_.end(), lower);
}

SoleTable table_of(const std::vector<Sole>& soles) {
  SoleTable table;
  for (const Sole& sole : soles) {
    const std::size_t first = table.corners_body.size();
    for (const Eigen::Vector3d& corner : sole.corners_body()) table.corners_body.push_back(plain(corner));
    table.frictions.resize(table.corners_body.size(), sole.friction());
    table.soles.push_back({static_cast<int>(sole.body()), first, table.corners_body.size(), plain(sole.centre_body())});
  }
  return table;
}

}  // namespace korvel::contact
