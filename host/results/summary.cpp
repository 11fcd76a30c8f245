#include "host/results/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>
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
  for (std::size_t j = 0; j < last_torques_.size(); ++j) {
    const double change = std::abs(static_cast<double>(torques[j]) - static_cast<double>(last_torques_[j]));
    if (change > largest_change_.torque) largest_change_ = {peaks_[j].joint, change, time};
  }
  last_torques_.assign(torques.first, torques.last);
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
  fmt::format_to(out, "\nlargest change of a torque from sample to sample: {:.4f} N m", largest_change_.torque);
  if (largest_change_.torque > 0) fmt::format_to(out, ", {} at {:.3f} s", largest_change_.joint, largest_change_.time);
  text += '\n';
  return text;
}

nlohmann::json Summary::json() const {
  nlohmann::json peaks = nlohmann::json::array();
  for (const Peak& peak : peaks_)
    peaks.push_back({{"joint", peak.joint}, {"torque", peak.torque}, {"time", peak.time}});
  const auto box = [](const Eigen::Vector3f& corner) { return nlohmann::json{corner.x(), corner.y(), corner.z()}; };
  return {{"samples", samples_},
          {"duration", last_time_ - first_time_},
          {"com", {{"least", box(com_world_.min())}, {"most", box(com_world_.max())}}},
          {"peaks", std::move(peaks)},
          {"largest_torque_change",
           {{"joint", largest_change_.joint}, {"torque", largest_change_.torque}, {"time", largest_change_.time}}}};
}

}  // namespace korvel::host
