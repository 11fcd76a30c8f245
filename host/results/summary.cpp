#include "host/results/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "host/robot/robot.h"

namespace korvel::host {

Summary::Summary(const tesk::RigidBodySystem& system) {
  for (std::string& joint : joint_names(system)) peaks_.push_back({std::move(joint), -1, 0});
}

void Summary::add(const tesk::RigidBodySystem& system, double time, std::chrono::nanoseconds cycle) {
  const tesk::FloatRange torques = system.getJointAnglesTorque();
  for (std::size_t j = 0; j < peaks_.size(); ++j) {
    const float torque = std::abs(torques[j]);
    if (torque > peaks_[j].torque) {
      peaks_[j].torque = torque;
      peaks_[j].time = time;
    }
  }
  const QZ::Math::Position3D& com = system.getComPosition();
  com_world_.extend(Eigen::Vector3f(com.x, com.y, com.z));
  if (samples_ == 0) first_time_ = time;
  last_time_ = time;
  ++samples_;
  all_cycles_ += cycle;
  longest_cycle_ = std::max(longest_cycle_, cycle);
}

std::string Summary::text() const {
  using Microseconds = std::chrono::duration<double, std::micro>;
  std::string text;
  const auto out = std::back_inserter(text);
  fmt::format_to(out, "samples   {}\nduration  {:.3f} s\n", samples_, last_time_ - first_time_);
  fmt::format_to(out, "cycle     mean {:.2f} us, longest {:.2f} us\n\n",
                 Microseconds(all_cycles_).count() / static_cast<double>(samples_),
                 Microseconds(longest_cycle_).count());

  fmt::format_to(out, "centre of mass in the world [m]\n");
  for (Eigen::Index axis = 0; axis < 3; ++axis) {
    fmt::format_to(out, "  {}  {:8.4f} to {:8.4f}\n", "xyz"[axis], com_world_.min()[axis], com_world_.max()[axis]);
  }

  fmt::format_to(out, "\n{:<16}  {:>16}  {:>8}\n", "joint", "|torque| [N m]", "at [s]");
  for (const Peak& peak : peaks_) {
    fmt::format_to(out, "{:<16}  {:>16.4f}  {:>8.3f}\n", peak.joint, peak.torque, peak.time);
  }
  return text;
}

}  // namespace korvel::host
