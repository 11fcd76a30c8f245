#pragma once

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "contact/wrench.h"

namespace korvel::contact {

/// The motion of a robot in the coordinates of the interface: the root's three linear and three angular ones first, in
/// the root's axes, then one per joint.
struct GeneralizedMotion {
  Eigen::VectorXd joint_pos;     ///< [rad]
  Eigen::VectorXd velocity;      ///< [m/s], [rad/s]
  Eigen::VectorXd acceleration;  ///< [m/s^2], [rad/s^2]
  Eigen::Vector3d gravity_root;  ///< [m/s^2], in the root's axes
};

/// The first six rows of a mass matrix, one column per coordinate.
using RootRows = Eigen::Matrix<double, 6, Eigen::Dynamic>;

/// Weights of the differences between values at the near and at the far turns.
inline const Eigen::Array2d turn_weights((std::sqrt(0.5) + 1) / 2, (std::sqrt(0.5) - 1) / 2);

/// The angles by which a joint is turned forward and backward, a near and a far one [rad], with which the weights give
/// `share`, from -1 to 1, times the derivative of any trigonometric polynomial of degree two,
///
///   2 (c1 sin near + c2 sin far) = share,   c1 sin 2 near + c2 sin 2 far = share,
///
/// by Newton's method. A share of 1 is a double root, pi/4 and 3 pi/4.
inline Eigen::Vector2d turn_for(double share) {
  const double quarter = std::atan(1.0);
  const double q = std::abs(share);
  Eigen::Vector2d turn(quarter, 3 * quarter);
  if (q < 1) turn = q * quarter * Eigen::Vector2d(1, 1.8 * (1 + 2 * q / 3));
  constexpr int most_steps = 40;
  for (int i = 0; i < most_steps && q < 1; ++i) {
    const Eigen::Array2d sine = turn.array().sin();
    const Eigen::Array2d cosine = turn.array().cos();
    const Eigen::Vector2d error((turn_weights * sine).sum() - q / 2, (turn_weights * sine * cosine).sum() - q / 2);
    Eigen::Matrix2d derivative;
    derivative << (turn_weights * cosine).transpose(), (turn_weights * (2 * cosine * cosine - 1)).transpose();
    if (error.cwiseAbs().maxCoeff() < 5e-16 || !(std::abs(derivative.determinant()) > 0)) break;
    turn -= derivative.inverse() * error;
  }
  return share < 0 ? -turn : turn;
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
  const auto momentum_at = [&](const auto& angles) -> Eigen::Matrix<double, 6, 1> { return root_rows(angles) * nu; };
  for (const std::vector<Eigen::Index>& group : groups_of(rates, limbs)) {
    const double fastest = std::abs(rates[group.front()]);
    Eigen::MatrixX2d turns = Eigen::MatrixX2d::Zero(rates.size(), 2);
    double share = 1;
    Eigen::Vector2d turn = turn_for(share);
    for (const Eigen::Index j : group) {
      // Left and right often move alike.
      const double of_joint = rates[j] / fastest;
      if (std::abs(of_joint - share) > 0) turn = turn_for(share = of_joint);
      turns.row(j) = turn;
    }
    for (const int k : {0, 1}) {
      const Eigen::VectorXd& q = motion.joint_pos;
      w += fastest * turn_weights[k] * (momentum_at(q + turns.col(k)) - momentum_at(q - turns.col(k)));
    }
  }
  const Eigen::Matrix<double, 6, 1> momentum = mass * nu;
  const Eigen::Vector3d p = momentum.head<3>();
  const Eigen::Vector3d L = momentum.tail<3>();
  const Eigen::Vector3d v = nu.head<3>();
  const Eigen::Vector3d omega = nu.segment<3>(3);
  return {w.head<3>() + omega.cross(p), w.tail<3>() + omega.cross(L) + v.cross(p)};
}

}  // namespace korvel::contact
