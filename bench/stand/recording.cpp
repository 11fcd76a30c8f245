#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "bench/stand/simulation.h"
#include "motion/csv/samples.h"
#include "motion/motion.h"

namespace korvel::bench {

namespace {

constexpr const char* of_wrench[] = {"_force_x", "_force_y", "_force_z", "_moment_x", "_moment_y", "_moment_z"};

}  // namespace

Recording::Place Recording::around(double t) const {
  const auto above = std::upper_bound(time.begin(), time.end(), t);
  if (above == time.begin()) return {0, 0, 0};
  if (above == time.end()) return {time.size() - 1, time.size() - 1, 0};
  const auto after = static_cast<std::size_t>(above - time.begin());
  return {after - 1, after, (t - time[after - 1]) / (time[after] - time[after - 1])};
}

Recording read_recording(const std::filesystem::path& motion, const std::filesystem::path& results,
                         const std::vector<std::string>& joints) {
  const host::Samples table = host::read_samples(results, [](const host::CsvRow&) {});
  const auto count = static_cast<Eigen::Index>(table.count());
  const auto row = [&](const std::string& name) {
    const auto place = host::index_in(table.names, name);
    if (!place) {
      throw host::error_at(results, 1, fmt::format("expected results of a run with soles, found no column '{}'", name));
    }
    return Eigen::Map<const Eigen::RowVectorXd>(table.columns[*place].data(), count);
  };
  Recording recording;
  recording.time = table.elapsed;
  for (const std::string& name : table.names) {
    const std::size_t end = name.size() - std::min(name.size(), std::strlen(of_wrench[2]));
    if (name.substr(end) == of_wrench[2]) recording.feet.push_back(name.substr(0, end));
  }
  recording.feasible = (row("feasible").array() > 0).all();

  const host::Trajectory trajectory(host::read_motion(motion, joints, recording.feet));
  if (trajectory.size() != count || (trajectory.time() - row("time").transpose().array()).abs().maxCoeff() > 0) {
    throw host::Error(fmt::format("{}: expected the results of {}", results.string(), motion.string()));
  }
  for (Eigen::Index s = 0; s < count; ++s) recording.states.emplace_back(trajectory.at(s));

  recording.torques.resize(static_cast<Eigen::Index>(joints.size()), count);
  for (std::size_t j = 0; j < joints.size(); ++j) {
    recording.torques.row(static_cast<Eigen::Index>(j)) = row(joints[j] + "_torque");
  }
  for (const std::string& foot : recording.feet) {
    auto& wrench = recording.wrenches.emplace_back(6, count);
    for (Eigen::Index i = 0; i < 6; ++i) wrench.row(i) = row(foot + of_wrench[i]);
  }
  return recording;
}

}  // namespace korvel::bench
