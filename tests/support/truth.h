#pragma once

#include <Eigen/Geometry>
#include <array>

#include "states/states.h"

namespace korvel::tests {

/// Of a smooth function at 0.
template <typename Function>
auto derivative(Function f) {
  constexpr double h = 1e-5;
  const auto after = f(h);
  const auto before = f(-h);
  return decltype(f(h))((after - before) / (2 * h));
}

/// Mass, centre of mass and rotational inertia about it, both in the body's frame.
struct MassProperties {
  double m;
  Eigen::Vector3d c;
  Eigen::Matrix3d Ic;
};
using MassTable = std::array<MassProperties, 25>;
const MassTable& robot_masses();

/// Pose of the joint's frame at zero in the parent's frame.
Eigen::Affine3d joint_frame(int b);

/// The robot as a textbook of mechanics has it, in double precision: homogeneous transforms from each body to the
/// world, jacobians of points, momenta of bodies and sums over all bodies. Of the product it reads only the numbers of
/// the robot's table.
class Truth {
 public:
  using Vector = Eigen::Matrix<double, 30, 1>;
  using Matrix = Eigen::Matrix<double, 30, 30>;
  using Jacobian = Eigen::Matrix<double, 6, 30>;
  using Vector6 = Eigen::Matrix<double, 6, 1>;

  Truth(const Eigen::Affine3d& root, const Eigen::VectorXd& joints, const MassTable& masses = robot_masses());
  explicit Truth(const State& state, const MassTable& masses = robot_masses());

  static int parent(int b);

  const Eigen::Affine3d& pose(int b) const { return poses_[static_cast<std::size_t>(b)]; }
  Eigen::Vector3d com(int b) const { return pose(b) * of(b).c; }
  double mass(int b) const { return of(b).m; }
  /// First moment of mass without body b; of all bodies for b = -1.
  Eigen::Vector3d first_moment(int without = -1) const;
  double potential_energy() const { return gravity * first_moment().z(); }

  /// World axes, angular rows first: motion of body b and of its point p, a place in the world, per unit velocities.
  Jacobian jacobian(int b, const Eigen::Vector3d& p) const;
  Eigen::Matrix<double, 3, 30> first_moment_jacobian(int without) const;
  Matrix mass_matrix() const;

  /// The configuration after a time t with velocities dq + t ddq, up to terms in t^3.
  Truth moved(const Vector& dq, const Vector& ddq, double t) const;
  /// Generalized forces: the rate of momentum of every body less what gravity and the wrench on it contribute.
  Vector forces(const State& state) const;

  /// What rounding errors of the mass matrix and of the forces are to be compared with: masses and the magnitudes of
  /// all forces, times the lever arms of stretched limbs.
  Matrix inertia_scale() const;
  Vector force_scale(const State& state) const;

  static constexpr double gravity = 9.81;

 private:
  const MassProperties& of(int b) const { return masses_[static_cast<std::size_t>(b)]; }
  Vector6 momentum(int b, const Vector& dq) const;
  /// Per coordinate that moves body b a bound for the distance of its centre of mass from the axis; 1 for linear ones.
  Vector arms(int b) const;

  MassTable masses_;
  Eigen::VectorXd joints_;
  std::array<Eigen::Affine3d, 25> poses_;
};

}  // namespace korvel::tests
