#pragma once

#include <Eigen/Geometry>
#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// Summarises a run: the peaks of the torques, the centre of mass, the times of computation.
class Summary {
 public:
  explicit Summary(const tesk::RigidBodySystem& system);

  /// Takes in the results that the cycle of the sample at `time` [s] left in `system`, and how long the cycle took.
  void add(const tesk::RigidBodySystem& system, double time, std::chrono::nanoseconds cycle);

  /// Returns a table of the largest torques, or of all, and the largest step between samples. After at least one
  /// sample.
  std::string peaks_text(bool all) const;
  /// Returns where the centre of mass was, how many samples there were and how long they took. After at least one
  /// sample.
  std::string run_text() const;
  /// Returns all of it for programs.
  nlohmann::json json() const;

 private:
  /// The largest magnitude of a joint's torque, or of its change from one sample to the next.
  struct Peak {
    std::string joint;
    double torque = 0;  // [N m]
    double time = 0;    // [s]

    nlohmann::json json() const;
  };

  std::vector<Peak> peaks_;
  std::vector<float> last_torques_;
  Peak largest_change_;
  Eigen::AlignedBox3f com_world_;
  std::size_t samples_ = 0;
  double first_time_ = 0;
  double last_time_ = 0;
  std::chrono::nanoseconds all_cycles_{0};
  std::chrono::nanoseconds longest_cycle_{0};
};

}  // namespace korvel::host
