#pragma once

#include <Eigen/Geometry>
#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// What a person wants to know of a run at a glance.
class Summary {
 public:
  explicit Summary(const tesk::RigidBodySystem& system);

  /// Takes in the results that the cycle of the sample at `time` [s] left in `system`, and how long the cycle took.
  void add(const tesk::RigidBodySystem& system, double time, std::chrono::nanoseconds cycle);

  /// Several lines of text. After at least one sample.
  std::string text() const;
  /// The same for programs.
  nlohmann::json json() const;

 private:
  struct Peak {
    std::string joint;
    float torque;  // magnitude [N m]
    double time;   // [s]
  };
  /// Between two samples one after the other.
  struct Change {
    std::string joint;
    double torque = 0;  // [N m]
    double time = 0;    // of the second [s]
  };

  std::vector<Peak> peaks_;
  std::vector<float> last_torques_;
  Change largest_change_;
  Eigen::AlignedBox3f com_world_;
  std::size_t samples_ = 0;
  double first_time_ = 0;
  double last_time_ = 0;
  std::chrono::nanoseconds all_cycles_{0};
  std::chrono::nanoseconds longest_cycle_{0};
};

}  // namespace korvel::host
