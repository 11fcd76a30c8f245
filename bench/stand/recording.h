#pragma once

#include <Eigen/Core>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/peers/mujoco.h"

namespace korvel::bench {

/// What a run on the ground says of one instant.
struct Recorded {
  Eigen::Vector3d root;            ///< in the world [m]
  Eigen::VectorXd angles, rates;   ///< of the joints [rad], [rad/s]
  Eigen::VectorXd torques;         ///< [N m]
  std::vector<double> foot_loads;  ///< vertical, of each foot [N]
};

/// A motion and the results of its run on the ground.
struct Recording {
  std::vector<double> time;         ///< since the first sample [s]
  std::vector<MujocoState> states;  ///< of each sample
  Eigen::MatrixXd torques;          ///< [N m], a row for each joint, a column for each sample
  std::vector<std::string> feet;    ///< bodies on which the ground exerts forces
  std::vector<Eigen::Matrix<double, 6, Eigen::Dynamic>> wrenches;  ///< on each foot, world axes, about its origin
  bool feasible;                                                   ///< throughout

  /// Linear between samples; before and after them as the first and the last one, at rest.
  Recorded at(double time) const;
};

/// Throws host::Error if a file is not what it should be.
Recording read_recording(const std::filesystem::path& motion, const std::filesystem::path& results,
                         const std::vector<std::string>& joints);

}  // namespace korvel::bench
