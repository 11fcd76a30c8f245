#pragma once

#include <Eigen/Dense>
#include <cmath>

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

/// The wrench that the surroundings have to exert for the robot to move so, about the root's origin and in its axes.
///
///   w = M dnu + (dM/dt) nu + (omega x p; omega x L + v x p) - M (g; 0)
///
/// with M the rows of the root, nu = (v, omega, dq), (p, L) = M nu the momentum. dM/dt needs no step: M does not depend
/// on the root's pose and is a trigonometric polynomial of degree two in every joint angle, of which four values give
/// the derivative exactly,
///
///   dM/dq_j = c1 [M(q_j + pi/4) - M(q_j - pi/4)] + c2 [M(q_j + 3pi/4) - M(q_j - 3pi/4)],  c = (sqrt(1/2) +- 1) / 2.
///
/// `root_rows(angles)` gives M at these joint angles, as RootRows.
/// Cost    four mass matrices for every joint that moves, and one
/// Source  the momentum of the whole robot, R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 2.11; the
///         derivative is interpolation by trigonometric polynomials on equidistant points
template <typename MassMatrix>
Wrench required_wrench(const GeneralizedMotion& motion, MassMatrix&& root_rows) {
  const double c1 = (std::sqrt(0.5) + 1) / 2;
  const double c2 = (std::sqrt(0.5) - 1) / 2;
  const double quarter = std::atan(1.0);
  const Eigen::VectorXd& nu = motion.velocity;

  Eigen::VectorXd angles = motion.joint_pos;
  const RootRows mass = root_rows(angles);
  Eigen::Matrix<double, 6, 1> w = mass * motion.acceleration - mass.leftCols<3>() * motion.gravity_root;
  for (Eigen::Index j = 0; j < angles.size(); ++j) {
    const double rate = nu[6 + j];
    if (!(std::abs(rate) > 0)) continue;
    const auto momentum_at = [&](double angle) -> Eigen::Matrix<double, 6, 1> {
      angles[j] = angle;
      return root_rows(angles) * nu;
    };
    const double q = motion.joint_pos[j];
    w += rate * (c1 * (momentum_at(q + quarter) - momentum_at(q - quarter)) +
                 c2 * (momentum_at(q + 3 * quarter) - momentum_at(q - 3 * quarter)));
    angles[j] = q;
  }
  const Eigen::Matrix<double, 6, 1> momentum = mass * nu;
  const Eigen::Vector3d p = momentum.head<3>();
  const Eigen::Vector3d L = momentum.tail<3>();
  const Eigen::Vector3d v = nu.head<3>();
  const Eigen::Vector3d omega = nu.segment<3>(3);
  return {w.head<3>() + omega.cross(p), w.tail<3>() + omega.cross(L) + v.cross(p)};
}

}  // namespace korvel::contact
