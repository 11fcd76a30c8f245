#pragma once

#include <Eigen/Core>
#include <filesystem>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/process/output_file.h"
#include "host/run/ground_summary.h"
#include "host/run/results_file.h"
#include "host/run/summary.h"

namespace korvel::host {

/// Motion files to run, and how.
struct RunOptions {
  std::filesystem::path module;
  std::vector<std::filesystem::path> motion_files;
  /// A results file, or a directory for one of each motion; NAME-results.csv in the current directory if not given.
  std::optional<std::filesystem::path> output;
  std::optional<double> cutoff;                 ///< [Hz] smooths
  std::optional<std::filesystem::path> soles;   ///< in place of those that are known of the robot
  std::optional<std::filesystem::path> limits;  ///< of the joints
  bool air = false;                             ///< holds the robot by its root
  std::optional<double> ground_height;          ///< 0 if not given [m]
  contact::ContactBounds bounds;
  bool root_from_feet = false;  ///< places the root so that the supporting sole stays on the ground
  unsigned jobs = 1;            ///< motions at a time
};

/// Outcome of a motion.
struct RunOutcome {
  std::filesystem::path motion_file, results;
  Summary summary;
  std::optional<GroundSummary> ground_summary;  ///< none if the robot was held by its root
  std::string held;                             ///< why it was held by its root, in lines for the user

  /// Returns whether the ground supports the robot and its joints keep their limits.
  bool is_feasible() const {
    return ground_summary && ground_summary->is_borne_throughout() && summary.exceeded_limits() == 0;
  }
  nlohmann::json json() const;
};

/// Runs every motion, and writes its results and their description, which appear when all have run to their end. Every
/// motion is read before the first one is run, so that nothing is computed in vain. Calls `tell` with what the user may
/// not know of a motion's numbers, and `progress` with the share of the samples that are done, now and then. Throws
/// Error.
std::vector<RunOutcome> run_motions(const RunOptions& options, Outputs& outputs,
                                    const std::function<void(const std::string& line)>& tell,
                                    const std::function<void(double share)>& progress);

}  // namespace korvel::host
