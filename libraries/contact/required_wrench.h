#pragma once

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "contact/wrench.h"

namespace korvel::contact {

/// How a robot moves, as the interface has it: the root's three linear and three angular coordinates first, in the
/// root's axes, then one per joint.
struct GeneralizedMotion {
  Eigen::VectorXd joint_pos;     ///< [rad]
  Eigen::VectorXd velocity;      ///< [m/s], [rad/s]
  Eigen::VectorXd acceleration;  ///< [m/s^2], [rad/s^2]
  Eigen::Vector3d gravity_root;  ///< [m/s^2], in the root's axes
};

/// The first six rows of a mass matrix, one column per coordinate.
using RootRows = Eigen::Matrix<double, 6, Eigen::Dynamic>;

/// By these angles a joint is turned, forward and backward.
struct Turn {
  double near, far;  ///< [rad]
};

/// Weights of the differences between values at the near and at the far turns.
inline const double near_weight = (std::sqrt(0.5) + 1) / 2;
inline const double far_weight = (std::sqrt(0.5) - 1) / 2;

/// The turn with which these weights give `share`, from -1 to 1, times the derivative of any trigonometric polynomial
/// of degree two,
///
///   2 (c1 sin near + c2 sin far) = share,   c1 sin 2 near + c2 sin 2 far = share,
///
/// by Newton's method. A share of 1 is a double root, pi/4 and 3 pi/4.
inline Turn turn_for(double share) {
  const double quarter = std::atan(1.0);
  const double q = std::abs(share);
  double near = q * quarter;
  double far = 1.8 * q * quarter * (1 + 2 * q / 3);
  if (!(q < 1)) far = 3 * quarter;
  constexpr int most_steps = 40;
  for (int i = 0; i < most_steps && q < 1; ++i) {
    const double sin_near = std::sin(near);
    const double cos_near = std::cos(near);
    const double sin_far = std::sin(far);
    const double cos_far = std::cos(far);
    const double single = 2 * (near_weight * sin_near + far_weight * sin_far) - q;
    const double twice = 2 * (near_weight * sin_near * cos_near + far_weight * sin_far * cos_far) - q;
    if (std::max(std::abs(single), std::abs(twice)) < 1e-15) break;
    const double single_by_near = 2 * near_weight * cos_near;
    const double single_by_far = 2 * far_weight * cos_far;
    const double twice_by_near = 2 * near_weight * (2 * cos_near * cos_near - 1);
    const double twice_by_far = 2 * far_weight * (2 * cos_far * cos_far - 1);
    const double determinant = single_by_near * twice_by_far - single_by_far * twice_by_near;
    if (!(std::abs(determinant) > 0)) break;
    near -= (single * twice_by_far - twice * single_by_far) / determinant;
    far -= (twice * single_by_near - single * twice_by_near) / determinant;
  }
  return share < 0 ? Turn{-near, -far} : Turn{near, far};
}

/// Joints that are turned at once: at most one of each limb. The k-th group has the k-th fastest joint of each; joints
/// at rest are in none.
inline std::vector<std::vector<Eigen::Index>> groups_of(const Eigen::VectorXd& rates, const std::vector<int>& limbs) {
  std::vector<Eigen::Index> order;
  for (Eigen::Index j = 0; j < rates.size(); ++j) {
    if (std::abs(rates[j]) > 0) order.push_back(j);
  }
  std::stable_sort(order.begin(), order.end(),
                   [&](Eigen::Index i, Eigen::Index j) { return std::abs(rates[i]) > std::abs(rates[j]); });
  std::vector<std::vector<Eigen::Index>> groups;
  std::map<int, std::size_t> next_of_limb;
  for (const Eigen::Index j : order) {
    const std::size_t group = next_of_limb[limbs[static_cast<std::size_t>(j)]]++;
    if (group == groups.size()) groups.emplace_back();
    groups[group].push_back(j);
  }
  return groups;
}

/// The wrench that the surroundings have to exert for the robot to move so, about the root's origin and in its axes.
///
///   w = M dnu + (dM/dt) nu + (omega x p; omega x L + v x p) - M (g; 0)
///
/// with M the rows of the root, nu = (v, omega, dq), (p, L) = M nu the momentum. dM/dt needs no step: M does not depend
/// on the root's pose and is a trigonometric polynomial of degree two in every joint angle, of which four values give
/// the derivative exactly. It is a sum over the limbs, the branches that hang from the root, of functions of their own
/// angles, so that joints of different limbs may be turned at once, each by the turn for its rate.
///
/// `root_rows(angles)` gives M at these joint angles, as RootRows, until it is called again. `limbs` has the limb of
/// each joint.
///
/// It takes four mass matrices for every joint that moves of the limb with the most of them, and one more. The momentum
/// of the whole robot is that of R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 2.11.
template <typename MassMatrix>
Wrench required_wrench(const GeneralizedMotion& motion, const std::vector<int>& limbs, MassMatrix&& root_rows) {
  const Eigen::VectorXd& nu = motion.velocity;
  const Eigen::VectorXd rates = nu.tail(motion.joint_pos.size());
  const RootRows mass = root_rows(motion.joint_pos);
  Eigen::Matrix<double, 6, 1> w = mass * motion.acceleration - mass.leftCols<3>() * motion.gravity_root;
  Eigen::VectorXd near = motion.joint_pos;
  Eigen::VectorXd far = near;
  for (const std::vector<Eigen::Index>& group : groups_of(rates, limbs)) {
    const double fastest = std::abs(rates[group.front()]);
    near.setZero();
    far.setZero();
    double share = 1;
    Turn turn = turn_for(share);
    for (const Eigen::Index j : group) {
      // Left and right often move alike.
      const double of_joint = rates[j] / fastest;
      if (std::abs(of_joint - share) > 0) turn = turn_for(share = of_joint);
      near[j] = turn.near;
      far[j] = turn.far;
    }
    const auto momentum_at = [&](const auto& angles) -> Eigen::Matrix<double, 6, 1> { return root_rows(angles) * nu; };
    const Eigen::VectorXd& q = motion.joint_pos;
    w += fastest * (near_weight * (momentum_at(q + near) - momentum_at(q - near)) +
                    far_weight * (momentum_at(q + far) - momentum_at(q - far)));
  }
  const Eigen::Matrix<double, 6, 1> momentum = mass * nu;
  const Eigen::Vector3d p = momentum.head<3>();
  const Eigen::Vector3d L = momentum.tail<3>();
  const Eigen::Vector3d v = nu.head<3>();
  const Eigen::Vector3d omega = nu.segment<3>(3);
  return {w.head<3>() + omega.cross(p), w.tail<3>() + omega.cross(L) + v.cross(p)};
}

}  // namespace korvel::contact
