#pragma once

#include <Eigen/Geometry>
#include <vector>

#include "contract/states.h"
#include "support/robot_table.h"

namespace korvel::tests {

/// Of a smooth function at 0.
template <typename Function>
auto derivative(Function f) {
  constexpr double h = 1e-5;
  const auto after = f(h);
  const auto before = f(-h);
  return decltype(f(h))((after - before) / (2 * h));
}

/// A row of a robot's table in double precision.
struct Body {
  int parent;             ///< -1 for the root
  Eigen::Affine3d frame;  ///< pose of the joint's frame at zero in the parent's frame
  double m;               ///< mass
  Eigen::Vector3d c;      ///< centre of mass, in the body's frame
  Eigen::Matrix3d Ic;     ///< rotational inertia about it, in the axes of the body's frame
};
using Bodies = std::vector<Body>;
Bodies bodies_of(const RobotTable& table);
/// Of the robot that the module is built for.
const Bodies& robot_bodies();

/// A robot as a textbook of mechanics has it, in double precision: homogeneous transforms from each body to the world,
/// jacobians of points, momenta of bodies and sums over all bodies. Of the product it reads only the numbers of the
/// robot's table.
class Truth {
 public:
  using Vector = Eigen::VectorXd;  ///< one number for each coordinate: those of the root, then one for each joint
  using Matrix = Eigen::MatrixXd;
  using Jacobian = Eigen::Matrix<double, 6, Eigen::Dynamic>;
  using Vector6 = Eigen::Matrix<double, 6, 1>;

  Truth(const Bodies& bodies, const Eigen::Affine3d& root, const Eigen::VectorXd& angles);
  Truth(const Bodies& bodies, const State& state);
  explicit Truth(const State& state) : Truth(robot_bodies(), state) {}

  int body_count() const { return static_cast<int>(bodies_.size()); }
  int joint_count() const { return body_count() - 1; }
  int coordinate_count() const { return root_coordinates + joint_count(); }

  const Eigen::Affine3d& pose(int b) const { return poses_[static_cast<std::size_t>(b)]; }
  Eigen::Vector3d com(int b) const { return pose(b) * of(b).c; }
  double mass(int b) const { return of(b).m; }
  /// First moment of mass without body b; of all bodies for b = -1.
  Eigen::Vector3d first_moment(int without = -1) const;
  double potential_energy() const { return gravity * first_moment().z(); }

  /// World axes, angular rows first: motion of body b and of its point p, a place in the world, per unit velocities.
  Jacobian jacobian(int b, const Eigen::Vector3d& p) const;
  Eigen::Matrix3Xd first_moment_jacobian(int without) const;
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
  static constexpr int root_coordinates = 6;
  /// Of the joint that carries a body, which is not the root.
  static int coordinate(int b) { return root_coordinates + b - 1; }

  const Body& of(int b) const { return bodies_[static_cast<std::size_t>(b)]; }
  /// Momentum about the centre of mass, angular rows first, per unit velocities.
  Jacobian momentum_jacobian(int b) const;
  /// Per coordinate that moves body b a bound for the distance of its centre of mass from the axis; 1 for linear ones.
  Vector arms(int b) const;

  Bodies bodies_;
  Eigen::VectorXd angles_;
  std::vector<Eigen::Affine3d> poses_;
};

}  // namespace korvel::tests
