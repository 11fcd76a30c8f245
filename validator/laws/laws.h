#pragma once

#include <Eigen/Geometry>
#include <cmath>
#include <string>
#include <vector>

#include "contract/shown.h"
#include "contract/states.h"
#include "host/robot/frames.h"
#include "host/robot/module.h"
#include "validator/core/check.h"

/// Functions that the checks of mechanics share. They know of the robot what the interface shows, and compute in double
/// precision.
namespace korvel::validate::laws {

using Eigen::Affine3d;
using Eigen::Matrix3d;
using Eigen::MatrixXd;
using Eigen::Vector3d;

using Coordinates = Eigen::VectorXd;
using Joints = Eigen::VectorXd;
/// A motion or a wrench in root axes, about the root's origin: angular rows first.
using Vector6 = Eigen::Matrix<double, 6, 1>;
using Jacobian = Eigen::Matrix<double, 6, Eigen::Dynamic>;
using MassMatrix = MatrixXd;
inline constexpr double gravity = 9.81;
/// Spacing of floats next to 1.
inline constexpr double eps = 0x1p-23;
/// A joint angle that has been moved by up to half a turn is rounded to a float below 8.
inline constexpr double angle_rounding = 2 * eps;

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

  int parent(int b) const { return static_cast<int>(parents_[static_cast<std::size_t>(b)]); }
  /// Coordinate d moves body b.
  bool moves(int d, int b) const;
  double mass(int b) const { return of(b).mass; }
  double mass() const { return mass_; }
  /// Centre of mass in the frame of body b.
  const Vector3d& com(int b) const { return of(b).com; }
  /// Reads masses and centres of mass again.
  void weigh();

  // Observations. Those that take a state write what they need of it and compute first.
  std::vector<float> everything() const { return everything_readable(*system_); }
  Affine3d pose(int b) const;
  Affine3d pose_in_root(int b) const;
  Jacobian jacobian() const { return system_->getJacobianInRoot().cast<double>(); }
  /// Motion of body b against the world per unit velocities, root axes: angular, then that of the root's origin.
  Jacobian jacobian(int b) const;
  MassMatrix mass_matrix(const State& state) const;
  Joints torques(const State& state) const;
  Joints shown_torques() const;
  /// First moment of mass of the robot without body b, which is not the root, in root axes.
  Vector3d partial_moment(int b) const;

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
  /// Returns, for each coordinate, the square root of the inertia that it would move if the limbs were stretched. The
  /// product of two of them bounds the terms of an entry of the mass matrix.
  Coordinates inertia_roots() const;
  /// Returns, for each joint, the magnitudes of all forces and moments that are summed up for its torque.
  Joints torque_scale(const State& state) const;

 private:
  struct Body {
    double mass;
    Vector3d com;
    double inertia;  ///< a bound for the rotational inertia
    Coordinates arms;
  };
  const Body& of(int b) const { return bodies_[static_cast<std::size_t>(b)]; }

  host::System system_;
  RobotSize size_;
  tesk::RigidBodySystem::TopologyVector parents_;
  int depth_ = 0;
  double mass_ = 0;
  std::vector<Body> bodies_;
};

/// Collects how far what is seen is from what a law says; beyond the bound, a share of the scale, it is a finding.
class Deviations {
 public:
  Deviations(double bound, std::uint64_t seed) : bound_(bound), seed_(seed) {}

  /// `what`, with its index unless that is negative, names what was seen, as in "pose of body 3".
  void compare(const MatrixXd& seen, const MatrixXd& expected, const MatrixXd& scale, const char* what, int index = -1);
  void compare(const MatrixXd& seen, const MatrixXd& expected, double scale, const char* what, int index = -1) {
    compare(seen, expected, MatrixXd::Constant(expected.rows(), expected.cols(), scale), what, index);
  }
  void compare(double seen, double expected, double scale, const char* what, int index = -1) {
    compare(MatrixXd::Constant(1, 1, seen), MatrixXd::Constant(1, 1, expected), scale, what, index);
  }
  /// The same to the last bit.
  template <typename Value>
  void compare_exactly(const Value& seen, const Value& expected, const char* what, int index = -1) const {
    Deviations(0, seed_).compare(seen, expected, 1, what, index);
  }

  std::uint64_t seed() const { return seed_; }  ///< of the state
  /// Applies a law to so many states, one seed after the other. Returns how far all were from it.
  template <typename Law>
  std::string over(int states, const RobotSize& size, Law law) {
    const std::uint64_t first = seed_;
    for (int k = 0; k < states; ++k) {
      seed_ = first + static_cast<std::uint64_t>(k);
      law(random_state(seed_, size));
    }
    return figure(states);
  }

 private:
  std::string figure(int states) const;

  double bound_;
  std::uint64_t seed_;
  double largest_ = 0;
};

/// A check that compares in each of some states what is seen with what a law says. The bound is a sum of rounding
/// errors: so many times the dynamic one, the kinematic one and that of an angle.
template <void (*law)(const Specimen&, const State&, Deviations&), int states, int dynamic, int kinematic = 0,
          int angles = 0>
std::string in_states(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(dynamic * robot.dynamic() + kinematic * robot.kinematic() + angles * angle_rounding,
                        subject.seed);
  return deviations.over(states, robot.size(), [&](const State& state) { law(robot, state, deviations); });
}

using host::vector;
inline Affine3d affine(const QZ::Math::Transform& T) { return Affine3d(host::isometry(T)); }
/// cross(a) * b is the cross product of a and b.
Matrix3d cross(const Vector3d& a);
/// The wrench on body b, which has this pose in another frame, about the origin of that frame.
Vector6 wrench_in(const Affine3d& pose, const State& state, int b);

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

}  // namespace korvel::validate::laws
