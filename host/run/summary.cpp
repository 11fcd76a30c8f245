#include "host/run/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/robot/robot.h"
#include "motion/csv/printable.h"

namespace korvel::host {

Summary::Summary(const tesk::RigidBodySystem& system) {
  for (std::string& joint : joint_names(system)) peaks_.push_back({std::move(joint), -1});
}

void Summary::add(const tesk::RigidBodySystem& system, double time, std::chrono::nanoseconds cycle) {
  const tesk::FloatRange torques = system.getJointAnglesTorque();
  for (std::size_t j = 0; j < peaks_.size(); ++j) {
    const auto torque = static_cast<double>(torques[j]);
    Peak& peak = peaks_[j];
    if (std::abs(torque) > peak.torque) peak = {peak.joint, std::abs(torque), time};
    if (last_torques_.empty()) continue;
    const double change = std::abs(torque - static_cast<double>(last_torques_[j]));
    if (change > largest_change_.torque) largest_change_ = {peak.joint, change, time};
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

std::string Summary::peaks_text(bool all) const {
  constexpr std::size_t shown_first = 5;
  std::vector<Peak> sorted = peaks_;
  std::stable_sort(sorted.begin(), sorted.end(), [](const Peak& a, const Peak& b) { return a.torque > b.torque; });
  const std::size_t shown = all ? sorted.size() : std::min(sorted.size(), shown_first);
  std::string text = fmt::format("{:<38}{:>11}{:>9}\n", "Peak joint torques", "N m", "at [s]");
  const auto out = std::back_inserter(text);
  for (std::size_t i = 0; i < shown; ++i) {
    fmt::format_to(out, "  {:<36}{:>#11.3g}{:>9.3f}\n", sorted[i].joint, sorted[i].torque, sorted[i].time);
  }
  if (shown < sorted.size())
    fmt::format_to(out, "  {} more joints with smaller peaks (--all)\n", sorted.size() - shown);
  if (largest_change_.torque > 0) {
    fmt::format_to(out, "  {:<36}{:>#11.3g}{:>9.3f}\n", "change per sample: " + largest_change_.joint,
                   largest_change_.torque, largest_change_.time);
  }
  return text;
}

std::string Summary::run_text() const {
  using Microseconds = std::chrono::duration<double, std::micro>;
  std::string text = "Centre of mass [m]";
  const auto out = std::back_inserter(text);
  for (Eigen::Index axis = 0; axis < 3; ++axis) {
    fmt::format_to(out, "  {} {:.4f} to {:.4f}", "xyz"[axis], com_world_.min()[axis], com_world_.max()[axis]);
  }
  fmt::format_to(out, "\n{}, {:.3f} s; computation per sample: mean {:.1f} us, longest {:.1f} us\n",
                 counted(samples_, "sample"), last_time_ - first_time_,
                 Microseconds(all_cycles_).count() / static_cast<double>(samples_),
                 Microseconds(longest_cycle_).count());
  return text;
}

nlohmann::json Summary::Peak::json() const { return {{"joint", joint}, {"torque", torque}, {"time", time}}; }

nlohmann::json Summary::json() const {
  nlohmann::json peaks = nlohmann::json::array();
  for (const Peak& peak : peaks_) peaks.push_back(peak.json());
  const auto box = [](const Eigen::Vector3f& corner) { return nlohmann::json{corner.x(), corner.y(), corner.z()}; };
  return {{"samples", samples_},
          {"duration", last_time_ - first_time_},
          {"com", {{"least", box(com_world_.min())}, {"most", box(com_world_.max())}}},
          {"peaks", std::move(peaks)},
          {"largest_torque_change", largest_change_.json()}};
}

}  // namespace korvel::host
