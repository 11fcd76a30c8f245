#pragma once

#include <Eigen/Core>
#include <string_view>
#include <vector>

#include "motion/csv/error.h"
#include "motion/motion.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// The root's pose in the world and its rates in the root frame, as the interface takes them.
struct RootMotion {
  QZ::Math::Transform pose;
  QZ::Math::Velocity6D velocity;
  QZ::Math::Velocity6D acceleration;
};

/// A quantity at one instant, with its time derivatives.
template <int n>
struct Moving {
  Eigen::Matrix<double, n, 1> value, first, second;
};

/// Computes the root's motion from its position in the world and from a quaternion w, x, y, z that stands for its
/// orientation. The quaternion may have any length but zero. Source: with p the quaternion and p^-1 p' = s + w/2, the
/// angular velocity in the root is w, and its derivative 2 vec(p^-1 p'') - 2 s w; J. B. Kuipers, Quaternions and
/// Rotation Sequences, 1999, ch. 11.
RootMotion root_motion(const Moving<3>& position, const Moving<4>& quaternion);

/// Everything that a robot is told about one instant of a motion.
struct Instant {
  RootMotion root;
  /// Joint angles [rad], velocities [rad/s], accelerations [rad/s^2], by joint-angle index.
  Eigen::ArrayXf joint_pos;
  Eigen::ArrayXf joint_vel;
  Eigen::ArrayXf joint_acc;
};

/// A motion with the velocities and accelerations of its splines, in single precision. Position and joints are splines
/// of their own; so are the four numbers of the orientation's quaternion, which is brought back to length 1 between
/// samples.
/// A motion may be long: kept are its samples, and the splines around the sample that was last asked for.
class Trajectory {
 public:
  /// `penalty` [s^4] smooths, as Spline says.
  /// Throws Error, with file and line, if values change too much in too short a time for single precision.
  explicit Trajectory(Motion motion, double penalty = 0);

  Eigen::Index size() const { return motion_.time.size(); }
  const Eigen::ArrayXd& time() const { return motion_.time; }
  /// The same whatever was asked for before; fast for one sample after the other. Not from two threads at a time.
  Instant at(Eigen::Index sample) const;

  /// An error that names the file and the line of a sample.
  Error error_at_sample(Eigen::Index sample, std::string_view text) const;

 private:
  /// Samples one after the other.
  struct Piece {
    Eigen::Index first = 0;
    std::vector<RootMotion> root;
    // One row per joint, one column per sample.
    Eigen::ArrayXXf pos, vel, acc;
  };

  /// Samples first, first + 1, ... last - 1.
  Piece piece(Eigen::Index first, Eigen::Index last) const;

  Motion motion_;
  double penalty_;
  double reach_;         ///< of the splines [s]
  Eigen::Index length_;  ///< of a piece in samples; each begins at a multiple
  mutable Piece piece_;
};

/// Gives the state to the robot. `state` has one value per joint angle of the robot. Allocates nothing.
inline void set_state(tesk::RigidBodySystem& system, const Instant& state) noexcept {
  system.setRootPose(state.root.pose);
  system.setRootVelocity(state.root.velocity);
  system.setRootAcceleration(state.root.acceleration);
  system.setJointAnglesPos(state.joint_pos);
  system.setJointAnglesVel(state.joint_vel);
  system.setJointAnglesAcc(state.joint_acc);
}

/// One control cycle: gives the state to the robot and computes its kinematics and inverse dynamics. Allocates
/// nothing.
inline void run_cycle(tesk::RigidBodySystem& system, const Instant& state) noexcept {
  set_state(system, state);
  system.computeFwdKinematics();
  system.computeInverseDynamics();
}

}  // namespace korvel::host
