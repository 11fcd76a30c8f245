#pragma once

#include <Eigen/Geometry>
#include <cmath>
#include <string>
#include <vector>

#include "host/robot/frames.h"
#include "host/robot/module.h"
#include "host/validate/core/check.h"
#include "states/shown.h"

namespace korvel::validate {

/// Level 3: the laws of mechanics.
Checks law_checks();

}  // namespace korvel::validate

/// What the checks of mechanics share. They know of the robot what the interface shows, and compute in double
/// precision.
namespace korvel::validate::laws {

using Eigen::Affine3d;
using Eigen::Matrix3d;
using Eigen::MatrixXd;
using Eigen::Vector3d;

using Coordinates = Eigen::VectorXd;
using Joints = Eigen::VectorXd;
using Motion = Eigen::Matrix<double, 6, 1>;  ///< angular rows first
using Jacobian = Eigen::Matrix<double, 6, Eigen::Dynamic>;
using MassMatrix = MatrixXd;
inline constexpr double gravity = 9.81;
/// Spacing of floats next to 1.
inline constexpr double eps = 0x1p-23;
/// A joint angle that has been moved by up to half a turn is rounded to a float below 8.
inline constexpr double angle_rounding = 2 * eps;

struct Sample {
  std::uint64_t seed;
  State state;
};

/// A robot of the module, and what the interface says about it.
class Specimen {
 public:
  explicit Specimen(const Subject& subject);

  const RobotSize& size() const { return size_; }
  int bodies() const { return size_.bodies; }
  int joints() const { return size_.joints; }
  tesk::RigidBodySystem* operator->() const { return system_.get(); }
  /// Writes the joint angles and brings kinematics in the root up to date.
  void set_joints(const State& state) const;
  /// Writes the state and runs every computation.
  void compute(const State& state) const { korvel::compute(state, *system_); }
  std::vector<Sample> samples(int count) const;

  int parent(int b) const { return static_cast<int>(parents_[static_cast<std::size_t>(b)]); }
  /// Coordinate d moves body b.
  bool moves(int d, int b) const;
  double mass(int b) const { return of(b).mass; }
  double mass() const { return mass_; }
  /// Centre of mass in the frame of body b.
  const Vector3d& com(int b) const { return of(b).com; }
  /// Reads masses and centres of mass again.
  void weigh();

  // What is seen. Those that take a state write what they need of it and compute first.
  std::vector<float> everything() const { return everything_readable(*system_); }
  Affine3d pose(int b) const;
  Affine3d pose_in_root(int b) const;
  Jacobian jacobian() const { return system_->getJacobianInRoot().cast<double>(); }
  /// Motion of body b against the world per unit velocities, root axes: angular, then that of the root's origin.
  Jacobian jacobian(int b) const;
  MassMatrix mass_matrix(const State& state) const;
  Joints torques(const State& state) const;
  Joints shown_torques() const;

  /// Rounding errors as a share of lengths and of rotations: three products at each joint of the longest limb.
  double kinematic() const { return 3 * (1 + depth_) * eps; }
  /// And as a share of what is summed up for a torque or an entry of the mass matrix: out to the end of a limb and
  /// back, for velocities, accelerations and forces.
  double dynamic() const { return 4 * kinematic(); }
  /// Bounds for the distance of body b's centre of mass from the axis of each coordinate that moves it, whatever the
  /// angles; 1 for linear coordinates, 0 for those that do not move it.
  const Coordinates& arms(int b) const { return of(b).arms; }
  /// Bound for the distance of any part from the root.
  double reach() const;
  /// Of each coordinate the square root of the inertia that it would move if the limbs were stretched. The product of
  /// two of them bounds the terms of an entry of the mass matrix.
  Coordinates inertia_roots() const;
  /// Of each joint the magnitudes of all forces and moments that are summed up for its torque.
  Joints torque_scale(const State& state) const;

 private:
  struct Body {
    double mass;
    Vector3d com;
    double inertia;  ///< a bound for the rotational inertia
    Coordinates arms;
  };
  const Body& of(int b) const { return bodies_[static_cast<std::size_t>(b)]; }

  std::uint64_t seed_;
  host::System system_;
  RobotSize size_;
  tesk::RigidBodySystem::TopologyVector parents_;
  int depth_ = 0;
  double mass_ = 0;
  std::vector<Body> bodies_;
};

/// Where something was seen, as in "pose of body 3".
struct Place {
  std::uint64_t seed;
  const char* what;
  int index = -1;  ///< none
};

/// Collects how far what is seen is from what a law says; beyond the bound, a share of the scale, it is a finding.
class Deviations {
 public:
  explicit Deviations(double bound) : bound_(bound) {}

  void compare(const MatrixXd& seen, const MatrixXd& expected, const MatrixXd& scale, const Place& place);
  void compare(const MatrixXd& seen, const MatrixXd& expected, double scale, const Place& place) {
    compare(seen, expected, MatrixXd::Constant(expected.rows(), expected.cols(), scale), place);
  }
  void compare(double seen, double expected, double scale, const Place& place) {
    compare(MatrixXd::Constant(1, 1, seen), MatrixXd::Constant(1, 1, expected), scale, place);
  }
  /// Applies a law to each state; tells how far all were from it.
  template <typename Law>
  std::string over(const std::vector<Sample>& samples, Law law) {
    for (const auto& [seed, state] : samples) law(seed, state);
    return figure(samples.size());
  }

 private:
  std::string figure(std::size_t states) const;

  double bound_;
  double largest_ = 0;
};

/// The same posture without velocities, accelerations and wrenches.
State at_rest(State state);

using host::vector;
Affine3d affine(const QZ::Math::Transform& T);
QZ::Math::Transform transform(const Affine3d& pose);
/// cross(a) * b is the cross product of a and b.
Matrix3d cross(const Vector3d& a);

/// The state with joint j turned further by an angle.
inline State turned(State state, int j, double by) {
  float& angle = state.q(coordinate_of_joint(j));
  angle = static_cast<float>(static_cast<double>(angle) + by);
  return state;
}

/// f of joint j turned by an angle, less f of it turned back by it.
template <typename Function>
MatrixXd central_difference(const State& state, int j, double by, Function f) {
  const MatrixXd after = f(turned(state, j, by));
  return after - f(turned(state, j, -by));
}

/// Derivative by joint angle j of what is a + b cos(angle) + c sin(angle), as poses and centres of mass are. It needs
/// no small steps, two quarter turns give it exactly.
template <typename Function>
MatrixXd derivative_of_first_degree(const State& state, int j, Function f) {
  return 0.5 * central_difference(state, j, M_PI / 2, f);
}

/// The same where twice the angle occurs too, as in the mass matrix: four odd eighths of a turn.
template <typename Function>
MatrixXd derivative_of_second_degree(const State& state, int j, Function f) {
  const MatrixXd eighth = central_difference(state, j, M_PI / 4, f);
  return (M_SQRT1_2 + 1) / 2 * eighth + (M_SQRT1_2 - 1) / 2 * central_difference(state, j, 3 * M_PI / 4, f);
}

inline Check law(const char* id, const char* promise, std::string (*run)(const Subject&)) {
  return {id, promise, 3, std::chrono::seconds(60), run};
}

Checks kinematics();
Checks mass_matrix();
Checks dynamics();
Checks wrenches();
Checks symmetries();
Checks known_bodies();

}  // namespace korvel::validate::laws
