#include "host/run/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/robot/robot.h"
#include "motion/csv/printable.h"

namespace korvel::host {

namespace {

/// Rows of a table that are shown without --all.
constexpr std::size_t shown_first = 5;

/// Without what rounding leaves of joints at rest, and without the sign of zero.
double rounded(double value, double per_unit = 1e9) { return std::round(value * per_unit) / per_unit + 0.0; }

}  // namespace

Summary::Summary(const tesk::RigidBodySystem& system, const std::vector<JointLimits>& limits) {
  for (std::string& joint : joint_names(system)) efforts_.push_back({{std::move(joint), -1}});
  for (std::size_t j = 0; j < limits.size(); ++j) {
    const auto& [lower, upper, speed, torque] = limits[j];
    std::optional<double> middle;
    if (lower && upper) middle = (*lower + *upper) / 2;
    if (lower) uses_.push_back({j, limit::lower, *lower, middle});
    if (upper) uses_.push_back({j, limit::upper, *upper, middle});
    if (speed) uses_.push_back({j, limit::speed, *speed, 0});
    if (torque) uses_.push_back({j, limit::torque, *torque, 0});
  }
}

void Summary::add(const tesk::RigidBodySystem& system, double time, std::chrono::nanoseconds cycle) {
  const tesk::FloatRange angles = system.getJointAnglesPos();
  const tesk::FloatRange speeds = system.getJointAnglesVel();
  const tesk::FloatRange torques = system.getJointAnglesTorque();
  for (std::size_t j = 0; j < efforts_.size(); ++j) {
    const auto torque = static_cast<double>(torques[j]);
    const auto speed = static_cast<double>(speeds[j]);
    Effort& effort = efforts_[j];
    const std::string& joint = effort.peak.joint;
    if (std::abs(torque) > effort.peak.torque) effort.peak = {joint, std::abs(torque), time};
    effort.speed = std::max(effort.speed, std::abs(speed));
    effort.power = std::max(effort.power, std::abs(torque * speed));
    const double last = std::exchange(effort.last_torque, torque);
    if (samples_ == 0) continue;
    effort.squares += (time - last_time_) * (last * last + torque * torque) / 2;
    if (std::abs(torque - last) > largest_change_.torque) largest_change_ = {joint, std::abs(torque - last), time};
  }
  for (Use& use : uses_) {
    const float values[] = {angles[use.joint], angles[use.joint], std::abs(speeds[use.joint]),
                            std::abs(torques[use.joint])};
    const float value = values[use.kind];
    const auto is_beyond = [&](double than) {
      return use.kind == limit::lower ? value < static_cast<float>(than) : value > static_cast<float>(than);
    };
    if (samples_ == 0 || is_beyond(use.reached)) use.reached = static_cast<double>(value);
    if (!is_beyond(use.limit) || use.samples++ > 0) continue;
    use.first = time;
    ++exceeded_limits_;
  }
  const QZ::Math::Position3D& com = system.getComPosition();
  com_world_.extend(Eigen::Vector3f(com.x, com.y, com.z));
  if (samples_ == 0) first_time_ = time;
  last_time_ = time;
  ++samples_;
  all_cycles_ += cycle;
  longest_cycle_ = std::max(longest_cycle_, cycle);
}

std::optional<double> Summary::Use::share() const {
  if (!middle) return std::nullopt;
  return (reached - *middle) / (limit - *middle);
}

std::string Summary::limits_verdict_text() const {
  if (exceeded_limits_ == 0) return fmt::format("stays within all {} limits\n", uses_.size());
  return fmt::format("exceeds limits: {} of {}\n", exceeded_limits_, uses_.size());
}

std::string Summary::limits_text(bool all) const {
  const auto key = [](const Use& use) { return std::pair(use.samples > 0, use.share()); };
  std::vector<Use> sorted = uses_;
  std::stable_sort(sorted.begin(), sorted.end(), [&](const Use& a, const Use& b) { return key(a) > key(b); });
  std::string text = fmt::format("{:<26}{:>9}{:>9}{:>15}{:>12}{:>9}\n", "Use of the limits", "reached", "limit",
                                 "share", "samples", "from [s]");
  const auto out = std::back_inserter(text);
  std::size_t shown = 0;
  for (const Use& use : sorted) {
    if (!all && use.samples == 0 && shown >= shown_first) break;
    ++shown;
    const std::string name = fmt::format("{} {}", efforts_[use.joint].peak.joint, limit::kinds[use.kind].name);
    const std::string share = use.share() ? fmt::format("{:.1f} %", rounded(100 * *use.share(), 10)) : "-";
    fmt::format_to(out, "  {:<24}{:>#9.3g}{:>#9.3g} {:<5} {:>8}", name, rounded(use.reached), use.limit,
                   limit::kinds[use.kind].unit, share);
    if (use.samples > 0) fmt::format_to(out, "{:>12}{:>9.3f}", use.samples, use.first);
    text += '\n';
  }
  if (shown < uses_.size()) fmt::format_to(out, "  {} more limits (--all)\n", uses_.size() - shown);
  return text;
}

double Summary::rms_torque(const Effort& effort) const {
  const double duration = last_time_ - first_time_;
  return duration > 0 ? std::sqrt(effort.squares / duration) : effort.peak.torque;
}

std::string Summary::peaks_text(bool all) const {
  std::vector<Effort> sorted = efforts_;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const Effort& a, const Effort& b) { return a.peak.torque > b.peak.torque; });
  const std::size_t shown = all ? sorted.size() : std::min(sorted.size(), shown_first);
  std::string text = fmt::format("{:<26}{:>9}{:>9}{:>11}{:>14}{:>10}\n", "Joints", "peak N m", "at [s]", "rms N m",
                                 "peak rad/s", "peak W");
  const auto out = std::back_inserter(text);
  for (std::size_t i = 0; i < shown; ++i) {
    const auto& [peak, last, squares, speed, power] = sorted[i];
    fmt::format_to(out, "  {:<24}{:>#9.3g}{:>9.3f}{:>#11.3g}{:>#14.3g}{:>#10.3g}\n", peak.joint, peak.torque, peak.time,
                   rms_torque(sorted[i]), rounded(speed), rounded(power));
  }
  if (shown < sorted.size())
    fmt::format_to(out, "  {} more joints with smaller torques (--all)\n", sorted.size() - shown);
  if (largest_change_.torque > 0) {
    fmt::format_to(out, "  largest change per sample: {:#.3g} N m, {} at {:.3f} s\n", largest_change_.torque,
                   largest_change_.joint, largest_change_.time);
  }
  return text;
}

std::string Summary::run_text() const {
  using Microseconds = std::chrono::duration<double, std::micro>;
  std::string text = "Centre of mass [m]";
  const auto out = std::back_inserter(text);
  for (Eigen::Index axis = 0; axis < 3; ++axis) {
    fmt::format_to(out, "  {} {:.3f} to {:.3f}", "xyz"[axis], com_world_.min()[axis], com_world_.max()[axis]);
  }
  fmt::format_to(out, "\n{}, {:.3f} s; computation per sample: mean {:.1f} us, longest {:.1f} us\n",
                 counted(samples_, "sample"), last_time_ - first_time_,
                 Microseconds(all_cycles_).count() / static_cast<double>(samples_),
                 Microseconds(longest_cycle_).count());
  return text;
}

nlohmann::json Summary::Peak::json() const { return {{"joint", joint}, {"torque", torque}, {"time", time}}; }

nlohmann::json Summary::limits_json_with_words() const {
  return {{"verdict", limits_verdict_text()}, {"uses", json().at("limits")}};
}

nlohmann::json Summary::json() const {
  nlohmann::json peaks = nlohmann::json::array();
  for (const Effort& effort : efforts_) {
    peaks.push_back(effort.peak.json());
    peaks.back().update({{"rms_torque", rms_torque(effort)}, {"speed", effort.speed}, {"power", effort.power}});
  }
  nlohmann::json uses = nlohmann::json::array();
  for (const Use& use : uses_) {
    uses.push_back({{"joint", efforts_[use.joint].peak.joint},
                    {"limit", limit::kinds[use.kind].name},
                    {"value", use.limit},
                    {"reached", use.reached},
                    {"share", use.share().value_or(std::nan(""))},  // which is written as null
                    {"samples", use.samples},
                    {"first", use.first}});
  }
  const auto box = [](const Eigen::Vector3f& corner) { return nlohmann::json{corner.x(), corner.y(), corner.z()}; };
  return {{"samples", samples_},
          {"duration", last_time_ - first_time_},
          {"com", {{"least", box(com_world_.min())}, {"most", box(com_world_.max())}}},
          {"peaks", std::move(peaks)},
          {"limits", std::move(uses)},
          {"largest_torque_change", largest_change_.json()}};
}

}  // namespace korvel::host
