#pragma once

#include <Eigen/Core>
#include <filesystem>
#include <string>
#include <vector>

namespace korvel::host {

/// A sampled motion.
struct Motion {
  /// Sample times [s], increasing.
  Eigen::ArrayXd time;
  /// One row per sample, one column per coordinate: the root's x, y, z [m] in the world, its roll, pitch, yaw [rad]
  /// with the orientation Rz(yaw) Ry(pitch) Rx(roll), then the joint angles [rad].
  Eigen::ArrayXXd coordinates;
  /// Where it was read: the file and the line of each sample.
  std::filesystem::path file;
  std::vector<std::size_t> lines;
};

/// Reads a motion file: CSV with a header row and one row per sample, columns in any order. `time` is required; `x`,
/// `y`, `z`, `roll`, `pitch`, `yaw` and one column per joint name are known, each is 0 throughout if it is missing.
/// All numbers are finite and within single precision.
/// Throws Error with the file, the line and what was expected there.
Motion read_motion(const std::filesystem::path& path, const std::vector<std::string>& joint_names);

}  // namespace korvel::host
