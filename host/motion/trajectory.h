#pragma once

#include <Eigen/Core>
#include <filesystem>
#include <string_view>
#include <vector>

#include "host/io/error.h"
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

/// A motion with the velocities and accelerations of its splines, in single precision. Position and joints are splines
/// of their own; so are the four numbers of the orientation's quaternion, which is brought back to length 1 between
/// samples.
class Trajectory {
 public:
  /// `penalty` [s^4] smooths, as Spline says. Takes the samples out of `motion`.
  /// Throws Error, with file and line, if values change too much in too short a time for single precision.
  explicit Trajectory(Motion motion, double penalty = 0);

  Eigen::Index size() const { return time_.size(); }
  const Eigen::ArrayXd& time() const { return time_; }
  Instant at(Eigen::Index sample) const;

  /// An error that names the file and the line of a sample.
  Error error_at_sample(Eigen::Index sample, std::string_view text) const;

 private:
  std::filesystem::path file_;
  std::vector<std::size_t> lines_;
  Eigen::ArrayXd time_;
  std::vector<RootMotion> root_;
  // One row per joint, one column per sample.
  Eigen::ArrayXXf pos_, vel_, acc_;
};

}  // namespace korvel::host
