#include "motion/doubts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "motion/csv/csv_reader.h"
#include "motion/csv/printable.h"
#include "motion/spline.h"

namespace korvel::host {

namespace {

using Names = std::vector<std::string>;

/// The mean time between samples [s]; 0 of a single one.
double mean_step(const Motion& motion) {
  const Eigen::Index steps = motion.elapsed.size() - 1;
  return steps > 0 ? motion.elapsed[steps] / static_cast<double>(steps) : 0;
}

/// The joint of the other side, which differs in the first letter of its name; the joint itself if there is none.
std::size_t twin_of(std::size_t joint, const Names& joint_names) {
  std::string name = joint_names[joint];
  name.front() = name.front() == 'L' ? 'R' : 'L';
  return index_in(joint_names, name).value_or(joint);
}

/// Joints without a column, if joints of the same limb before and behind them have one, or if most of the limb and
/// their twin of the other side have one. Motions may leave out the ends of limbs, and limbs that rest.
void add_missing_joints(const Motion& motion, const Names& joint_names, const std::vector<int>& limbs, Names& doubts) {
  std::vector<bool> given;
  for (const std::string& name : joint_names) given.push_back(index_in(motion.columns, name).has_value());
  Names missing;
  for (std::size_t j = 0; j < joint_names.size(); ++j) {
    std::size_t before = 0, behind = 0, all = 0;
    for (std::size_t other = 0; other < joint_names.size(); ++other) {
      if (limbs[other] != limbs[j]) continue;
      ++all;
      if (given[other]) ++(other < j ? before : behind);
    }
    const bool is_between = before > 0 && behind > 0;
    const bool is_one_sided = given[twin_of(j, joint_names)] && 2 * (before + behind) > all;
    if (!given[j] && (is_between || is_one_sided)) missing.push_back(joint_names[j]);
  }
  if (missing.empty()) return;
  doubts.push_back(
      fmt::format("no column for {}, taken as 0; other joints of the same limb have one", fmt::join(missing, ", ")));
}

void add_units(const Motion& motion, const Names& joint_names, Names& doubts) {
  // No joint of a humanoid turns by more than a turn, and no motion has ten seconds between samples.
  const double turn = 2 * std::acos(-1.0);
  constexpr double long_step = 10;
  for (Eigen::Index j = 0; j < motion.joints.cols(); ++j) {
    const double largest = motion.joints.col(j).abs().maxCoeff();
    if (largest <= turn) continue;
    doubts.push_back(fmt::format("column '{}' reaches {:.4g}: angles are in radians, are these degrees?",
                                 joint_names[static_cast<std::size_t>(j)], largest));
    break;
  }
  const double step = mean_step(motion);
  if (step < long_step) return;
  doubts.push_back(fmt::format("samples are {:.4g} s apart: time is in seconds, are these milliseconds?", step));
}

/// Steps between samples that are much larger than the steps before and after, and the largest speed otherwise.
void add_jumps(const Motion& motion, const Names& joint_names, Names& doubts) {
  constexpr double least_jump = 0.05;  // [rad]
  constexpr double jump_speed = 5;     // [rad/s]
  constexpr double much_larger = 6;
  constexpr double fast = 20;  // [rad/s]
  struct {
    std::size_t joint;
    double step, time, speed;
  } jump{}, fastest{};
  std::size_t jumps = 0;
  const Eigen::ArrayXd duration =
      motion.elapsed.tail(motion.elapsed.size() - 1) - motion.elapsed.head(motion.elapsed.size() - 1);
  for (Eigen::Index j = 0; j < motion.joints.cols(); ++j) {
    const auto angle = motion.joints.col(j);
    const Eigen::ArrayXd steps = angle.tail(duration.size()) - angle.head(duration.size());
    for (Eigen::Index k = 0; k < steps.size(); ++k) {
      const bool is_inside = k > 0 && k + 1 < steps.size();
      // The step without the motion around it.
      const double alone = is_inside ? std::abs(steps[k] - (steps[k - 1] + steps[k + 1]) / 2) : 0;
      const bool jumps_here = alone > least_jump && alone / duration[k] > jump_speed &&
                              alone > much_larger * std::max(std::abs(steps[k - 1]), std::abs(steps[k + 1]));
      const double step = jumps_here ? alone : std::abs(steps[k]);
      const double speed = step / duration[k];
      jumps += jumps_here ? 1U : 0U;
      auto& largest = jumps_here ? jump : fastest;
      if (speed > largest.speed) largest = {static_cast<std::size_t>(j), step, motion.time[k + 1], speed};
    }
  }
  if (jumps > 0) {
    doubts.push_back(fmt::format("{} jumps by {:.2f} rad at {:.3f} s ({:.3g} rad/s){}", joint_names[jump.joint],
                                 jump.step, jump.time, jump.speed,
                                 jumps > 1 ? fmt::format(", the largest of {} jumps", jumps) : ""));
  }
  if (fastest.speed > fast) {
    doubts.push_back(fmt::format("{} turns at {:.3g} rad/s at {:.3f} s, faster than motors of such a robot",
                                 joint_names[fastest.joint], fastest.speed, fastest.time));
  }
}

/// The standard deviation of independent errors of samples, from the median of their sixth differences; jumps do not
/// change it.
double noise_of_samples(const Eigen::ArrayXd& values) {
  constexpr double squares = 924;  // of the coefficients of a sixth difference
  constexpr double median_of_normal = 0.6745;
  Eigen::ArrayXd differences = values;
  for (int order = 0; order < 6; ++order) {
    differences = (differences.tail(differences.size() - 1) - differences.head(differences.size() - 1)).eval();
  }
  differences = differences.abs().eval();
  const auto middle = differences.begin() + differences.size() / 2;
  std::nth_element(differences.begin(), middle, differences.end());
  return *middle / (median_of_normal * std::sqrt(squares));
}

/// The root mean square of the second differences over the square of the step.
double acceleration_of(const Eigen::ArrayXd& values, double h) {
  const Eigen::Index n = values.size() - 2;
  return std::sqrt(((values.tail(n) - 2 * values.segment(1, n) + values.head(n)) / (h * h)).square().mean());
}

}  // namespace

std::vector<std::string> doubts_about(const Motion& motion, const Names& joint_names, const std::vector<int>& limbs) {
  Names doubts;
  add_missing_joints(motion, joint_names, limbs, doubts);
  add_units(motion, joint_names, doubts);
  if (motion.elapsed.size() > 2) add_jumps(motion, joint_names, doubts);
  return doubts;
}

std::optional<Noise> noise_of(const Motion& motion, const Names& joint_names) {
  constexpr double noticed = 0.5;   // [rad/s^2], root mean square
  constexpr double harmless = 0.2;  // some hundredths of a newton metre
  constexpr double share = 0.05;    // of all accelerations: less may be the motion's own
  constexpr Eigen::Index fewest = 20;
  // The spline through two samples has no accelerations.
  if (motion.elapsed.size() < 3) return std::nullopt;
  const double h = mean_step(motion);
  const auto rms = [&](double error) { return 6 * error / (h * h); };
  double rounding = 0;
  std::string source;
  if (motion.decimals != std::numeric_limits<int>::max()) {
    rounding = 0.5 * std::pow(10, -motion.decimals) / std::sqrt(3.0);
    source = fmt::format("rounding to {}", counted(static_cast<std::size_t>(std::max(motion.decimals, 0)), "decimal"));
  }
  double largest = rounding;
  const auto measure = [&](const Eigen::ArrayXd& values, const std::string& name, const char* unit) {
    const double error = noise_of_samples(values);
    // Rounding errors are found here, too.
    if (error < std::max(1.5 * rounding, largest) || rms(error) < share * acceleration_of(values, h)) return;
    largest = error;
    source = fmt::format("noise of about {:.2g} {} in {}", error, unit, name);
  };
  if (motion.elapsed.size() >= fewest) {
    for (Eigen::Index j = 0; j < motion.joints.cols(); ++j)
      measure(motion.joints.col(j), joint_names[static_cast<std::size_t>(j)], "rad");
    for (Eigen::Index i = 0; i < 3; ++i) measure(motion.position.col(i), std::string(1, "xyz"[i]), "m");
    // A small turn changes the quaternion by half its angle.
    for (Eigen::Index i = 1; i < 4; ++i) measure(2 * motion.orientation.col(i), "the root's orientation", "rad");
  }
  if (rms(largest) < noticed) return std::nullopt;
  // White noise of variance s^2 leaves accelerations of variance s^2 h penalty^(-5/4) / (8 sqrt 2).
  const double penalty = std::pow(8 * std::sqrt(2.0) * harmless * harmless / (largest * largest * h), -0.8);
  return Noise{source, rms(largest), cutoff_of_penalty(penalty), harmless};
}

}  // namespace korvel::host
