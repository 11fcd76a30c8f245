#pragma once

#include <Eigen/Core>

#include "host/motion/motion.h"
#include "host/motion/root_motion.h"

namespace korvel::host {

/// Everything that a robot is told about one instant of a motion.
struct Instant {
  RootMotion root;
  /// Joint angles [rad], velocities [rad/s], accelerations [rad/s^2], by joint-angle index.
  Eigen::ArrayXf joint_pos;
  Eigen::ArrayXf joint_vel;
  Eigen::ArrayXf joint_acc;
};

/// A motion with the velocities and accelerations of its interpolation.
class Trajectory {
 public:
  /// The root's angles may wrap by full turns between samples; they are made continuous first.
  /// Throws Error, with file and line, if samples are too close in time for velocities and accelerations in single
  /// precision.
  explicit Trajectory(const Motion& motion);

  Eigen::Index size() const { return time_.size(); }
  const Eigen::ArrayXd& time() const { return time_; }
  Instant at(Eigen::Index sample) const;

 private:
  Eigen::ArrayXd time_;
  // One row per sample, one column per coordinate.
  Eigen::ArrayXXd q_;
  Eigen::ArrayXXd dq_;
  Eigen::ArrayXXd ddq_;
};

}  // namespace korvel::host
