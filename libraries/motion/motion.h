#pragma once

#include <Eigen/Core>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "contact/sole.h"

namespace korvel::host {

/// A sampled motion, one row per sample.
struct Motion {
  Eigen::ArrayXd time;          ///< as the file has it [s]
  Eigen::ArrayXd elapsed;       ///< since the first sample [s]; increases also where `time` has run out of digits
  Eigen::ArrayX3d position;     ///< of the root in the world [m]
  Eigen::ArrayX4d orientation;  ///< of the root in the world, unit quaternions w, x, y, z; each the nearer of q and -q
  Eigen::ArrayXXd joints;       ///< angles [rad], one column per joint
  /// Contact with the ground of the bodies for which the file gives it.
  std::map<std::string, std::vector<bool>> contacts;
  std::filesystem::path file;
  std::vector<std::string> columns;  ///< the header of the file
  std::vector<std::size_t> lines;    ///< of the file, where each sample starts
  int decimals = 0;                  ///< the fewest with which a number that changes is written

  /// Returns whether the file has any coordinate of the root.
  bool has_root() const;
};

/// Reads a motion file: CSV with a header row and one row per sample, columns in any order. `time` is required. The
/// root's `x`, `y`, `z`, its orientation Rz(yaw) Ry(pitch) Rx(roll) as `roll`, `pitch`, `yaw` or as a quaternion `qw`,
/// `qx`, `qy`, `qz`, and one column per joint name are known; what is missing is 0, or not turned. So is BODY_contact,
/// 0 or 1, of the bodies that have soles; what is missing there is not known. All numbers are finite and within single
/// precision; quaternions are as long as rounding leaves them, and made unit. Throws Error with the file, the line and
/// what was expected there.
Motion read_motion(const std::filesystem::path& path, const std::vector<std::string>& joint_names,
                   const std::vector<std::string>& soles = {});

/// Makes a motion of samples in memory: times, and rows of the root's x, y, z, roll, pitch, yaw and of joint angles.
/// Throws Error with the number of the sample, from 0, where times do not increase or a number is not finite or not
/// within single precision.
Motion motion_of(const Eigen::ArrayXd& time, const Eigen::ArrayXXd& coordinates);

/// Takes, of the two quaternions that stand for an orientation, the one nearer to that of the sample before, so that
/// neither wrapped angles nor angles or signs that flip at the pole turn the root.
void make_continuous(Eigen::ArrayX4d& quaternions);

/// Reads the soles of a robot: CSV with a header row and one row per corner, columns in any order: `body`, its name;
/// `x`, `y`, `z` of the corner in the body's frame [m]; `friction` against the ground, the same at all corners of a
/// body. All corners of a body are one sole, flat and convex, in any order. Soles come in the order of the bodies of
/// the robot. Throws Error with the file, the line and what was expected there.
std::vector<contact::Sole> read_soles(const std::filesystem::path& path, const std::vector<std::string>& body_names);

}  // namespace korvel::host
