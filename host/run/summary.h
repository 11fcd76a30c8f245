#pragma once

#include <Eigen/Geometry>
#include <chrono>
#include <cmath>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/robot/limits.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// Summarises a run: what the joints deliver, and whether that is within their limits; the centre of mass; the times of
/// computation.
class Summary {
 public:
  /// `limits` of each joint, or none at all.
  Summary(const tesk::RigidBodySystem& system, const std::vector<JointLimits>& limits);

  /// Takes in the results that the cycle of the sample at `time` [s] left in `system`, and how long the cycle took.
  void add(const tesk::RigidBodySystem& system, double time, std::chrono::nanoseconds cycle);

  /// The number of limits that a sample exceeds.
  std::size_t exceeded_limits() const { return exceeded_limits_; }
  /// Returns a line about them.
  std::string limits_verdict_text() const;
  /// Returns a table of the limits with the largest shares, or of all. After at least one sample, as all that follows.
  std::string limits_text(bool all) const;
  /// Returns a table of the joints with the largest torques, or of all, and the largest step between samples.
  std::string peaks_text(bool all) const;
  /// Returns where the centre of mass was, how many samples there were and how long they took.
  std::string run_text() const;
  /// Returns all of it for programs.
  nlohmann::json json() const;
  /// Returns the `verdict` about the limits in the words of the text, and all `uses` of limits, for the report.
  nlohmann::json limits_json_with_words() const;

 private:
  /// The largest magnitude of a joint's torque, or of its change from one sample to the next.
  struct Peak {
    std::string joint;
    double torque = 0;  // [N m]
    double time = 0;    // [s]

    nlohmann::json json() const;
  };

  /// The largest values of a joint. All are magnitudes.
  struct Effort {
    Peak peak;
    double last_torque = 0;  // [N m]
    double squares = 0;      // the integral of the torque's square [(N m)^2 s]
    double speed = 0;        // [rad/s]
    double power = 0;        // [W]
  };
  /// The share of a limit that a joint uses.
  struct Use {
    unsigned long joint;
    limit::Kind kind;
    double limit;
    std::optional<double> middle;  // from which its share counts: 0, or half-way between two limits of the angle [rad]
    double reached = 0;            // the angle, or a magnitude, that comes nearest to the limit or exceeds it most
    std::size_t samples = 0;       // that exceed it
    double first = std::nan("");   // time of these [s]

    /// Null for an angle without a limit on the other side.
    std::optional<double> share() const;
  };

  double rms_torque(const Effort& effort) const;

  std::vector<Effort> efforts_;
  std::vector<Use> uses_;
  std::size_t exceeded_limits_ = 0;
  Peak largest_change_;
  Eigen::AlignedBox3f com_world_;
  std::size_t samples_ = 0;
  double first_time_ = 0;
  double last_time_ = 0;
  std::chrono::nanoseconds all_cycles_{0};
  std::chrono::nanoseconds longest_cycle_{0};
};

}  // namespace korvel::host
