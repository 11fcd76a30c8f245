#pragma once

#include <Eigen/Core>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/peers/mujoco.h"

namespace korvel::bench {

/// A motion and the results of its run on the ground.
struct Recording {
  std::vector<double> time;         ///< since the first sample [s]
  std::vector<MujocoState> states;  ///< of each sample
  Eigen::MatrixXd torques;          ///< [N m], a row for each joint, a column for each sample
  std::vector<std::string> feet;    ///< bodies on which the ground exerts forces
  std::vector<Eigen::Matrix<double, 6, Eigen::Dynamic>> wrenches;  ///< on each foot, world axes, about its origin
  bool feasible;                                                   ///< throughout

  /// Holds two samples, and how far a time is between them.
  struct Place {
    std::size_t before, after;
    double share;
  };
  /// Before and after all samples, both are the first or the last one.
  Place around(double time) const;
};

/// Throws host::Error if a file is not what it should be.
Recording read_recording(const std::filesystem::path& motion, const std::filesystem::path& results,
                         const std::vector<std::string>& joints);

struct Deviation {
  double rms = 0;
  double largest = 0;
};

/// The outcome for a robot that gets only the torques of a motion.
struct Played {
  double drift = 0;              ///< largest distance of the root from where the motion has it [m]
  double lowest = 1;             ///< height of the root, as a share of what the motion has
  std::vector<Deviation> loads;  ///< vertical force on each foot against the recorded one, by the weight
  double feedback = 0;           ///< largest torque that the joints' feedback added [N m]
};

/// Plays a recording on the model, which has soles and a ground: the recorded torques, and at each joint a weak spring
/// and damper towards the recorded motion. The robot first stands in the first sample, at the end in the last one.
/// Loads are compared while it moves.
Played play(const mjModel& model, const Recording& recording);

/// The largest forces that are missing where MuJoCo's inverse dynamics is given the recorded wrenches.
struct Inverse {
  double root = 0;    ///< by the weight; moments by a decimetre too
  double joints = 0;  ///< from the recorded torques [N m]
};
Inverse compare_inverse(const mjModel& model, const Recording& recording);

}  // namespace korvel::bench
