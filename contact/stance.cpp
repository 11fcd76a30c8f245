#include "contact/stance.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "contact/support_polygon.h"

namespace korvel::contact {

namespace {

Eigen::Vector2d zero_moment_point(const Wrench& required, double ground, const Eigen::Vector3d& com, double weight) {
  const double f_z = required.force.z();
  if (std::abs(f_z) < least_load * weight) return com.head<2>();
  return Eigen::Vector2d(ground * required.force.x() - required.moment.y(),
                         ground * required.force.y() + required.moment.x()) /
         f_z;
}

/// Coefficients with the sum 1 that bring the combination of the centres nearest to a point; the least such ones, and
/// with a millimetre of regularisation, so that centres that lie close together share evenly.
Eigen::VectorXd affine_coefficients(const std::vector<Eigen::Vector2d>& centres, const Eigen::Vector2d& point) {
  const auto n = static_cast<Eigen::Index>(centres.size());
  Eigen::Matrix2Xd C(2, n);
  for (Eigen::Index i = 0; i < n; ++i) C.col(i) = centres[static_cast<std::size_t>(i)] - point;
  // Minimum of |C x|^2 + lambda |x|^2 with the sum 1: x is proportional to (C'C + lambda)^-1 (1, ..., 1).
  constexpr double lambda = 1e-6;
  const Eigen::MatrixXd normal = C.transpose() * C + lambda * Eigen::MatrixXd::Identity(n, n);
  const Eigen::VectorXd x = normal.ldlt().solve(Eigen::VectorXd::Ones(n));
  return x / x.sum();
}

/// Of a sole in contact: which of its corners bear, from the root's origin in world axes.
std::vector<Eigen::Vector3d> bearing_corners(const Sole& sole, const SoleState& state, double level) {
  const double highest = (state.pose * sole.lowest_corner(state.pose)).z() + level;
  std::vector<Eigen::Vector3d> corners;
  for (const Eigen::Vector3d& corner : sole.corners()) {
    const Eigen::Vector3d place = state.pose * corner;
    if (place.z() <= highest) corners.push_back(place);
  }
  return corners;
}

std::vector<Eigen::Vector2d> on_ground(const std::vector<Eigen::Vector3d>& corners) {
  std::vector<Eigen::Vector2d> points;
  for (const Eigen::Vector3d& corner : corners) points.emplace_back(corner.head<2>());
  return points;
}

Verdict verdict_of(const Stance& stance, double weight) {
  if (stance.residual <= feasible_residual) return Verdict::stands;
  if (stance.points.empty()) return Verdict::nothing_bears;
  const double f_z = stance.required.force.z();
  if (f_z < feasible_residual * weight) return Verdict::needs_pull;
  if (-stance.margin * f_z > feasible_residual * weight * moment_length) return Verdict::tips;
  return Verdict::slips;
}

}  // namespace

Stance stance(const std::vector<Sole>& soles, const std::vector<SoleState>& states, const Wrench& required,
              double ground, const Eigen::Vector3d& com, double weight, double level) {
  Stance result;
  std::vector<std::vector<Eigen::Vector3d>> corners(soles.size());
  std::vector<Eigen::Vector2d> centres, all;
  double sum_of_heights = 0;
  Eigen::Vector3d origin = Eigen::Vector3d::Zero();  // about which moments are taken: the mean of the centres
  for (std::size_t i = 0; i < soles.size(); ++i) {
    if (!states[i].contact) continue;
    corners[i] = bearing_corners(soles[i], states[i], level);
    for (const Eigen::Vector3d& corner : corners[i]) {
      all.emplace_back(corner.head<2>());
      sum_of_heights += corner.z();
    }
    const Eigen::Vector3d centre = states[i].pose * soles[i].centre();
    centres.emplace_back(centre.head<2>());
    origin += centre;
  }
  // Forces act where the corners are.
  const double height = all.empty() ? ground : sum_of_heights / static_cast<double>(all.size());
  result.zero_moment_point = zero_moment_point(required, height, com, weight);
  if (!centres.empty()) {
    origin /= static_cast<double>(centres.size());
    const SupportPolygon polygon(all);
    result.margin = polygon.margin(result.zero_moment_point);
    result.excess = polygon.excess(result.zero_moment_point);
  }

  result.required = moved(required, origin);
  const Eigen::VectorXd nearness = affine_coefficients(centres, result.zero_moment_point);
  Eigen::Index standing = 0;
  for (std::size_t i = 0; i < soles.size(); ++i) {
    if (!states[i].contact) continue;
    const double compliance = std::clamp(nearness[standing++] * states[i].share, least_compliance, 1.0);
    for (const Eigen::Vector3d& corner : corners[i]) {
      result.points.push_back({corner - origin, {soles[i].friction()}, compliance});
    }
  }
  const Distribution distribution = distribute(result.required, result.points, weight);
  result.residual = distribution.residual;

  auto force = distribution.forces.begin();
  for (std::size_t i = 0; i < soles.size(); ++i) {
    SoleLoad load;
    const Eigen::Vector3d centre = states[i].pose * soles[i].centre();
    load.pressure = centre.head<2>();
    if (states[i].contact) {
      Eigen::Vector2d moment = Eigen::Vector2d::Zero();
      for (const Eigen::Vector3d& corner : corners[i]) {
        load.wrench.force += *force;
        load.wrench.moment += (corner - states[i].pose.translation()).cross(*force);
        moment += force->z() * corner.head<2>();
        ++force;
      }
      if (load.wrench.force.z() > least_load * weight) {
        load.pressure = moment / load.wrench.force.z();
        load.friction = load.wrench.force.head<2>().norm() / load.wrench.force.z();
      }
      load.inside = SupportPolygon(on_ground(corners[i])).margin(load.pressure);
    }
    result.soles.push_back(load);
  }
  result.verdict = verdict_of(result, weight);
  return result;
}

}  // namespace korvel::contact
