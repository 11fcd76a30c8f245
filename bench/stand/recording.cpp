#include <fmt/format.h>

#include <algorithm>

#include "bench/stand/simulation.h"
#include "motion/csv/samples.h"
#include "motion/motion.h"

namespace korvel::bench {

namespace {

constexpr const char* of_wrench[] = {"_force_x", "_force_y", "_force_z", "_moment_x", "_moment_y", "_moment_z"};

/// The columns of a table by name.
class Table {
 public:
  explicit Table(const std::filesystem::path& path)
      : path_(path), samples_(host::read_samples(path, [](const host::CsvRow&) {})) {}

  const host::Samples& samples() const { return samples_; }
  Eigen::Map<const Eigen::RowVectorXd> row(const std::string& name) const {
    const auto place = host::index_in(samples_.names, name);
    if (!place) {
      throw host::error_at(path_, 1, fmt::format("expected results of a run with soles, found no column '{}'", name));
    }
    const auto& column = samples_.columns[*place];
    return {column.data(), static_cast<Eigen::Index>(column.size())};
  }
  /// The names of columns that end so, without the end.
  std::vector<std::string> names_before(const std::string& end) const {
    std::vector<std::string> names;
    for (const std::string& name : samples_.names) {
      const std::size_t place = name.rfind(end);
      if (place != std::string::npos && place + end.size() == name.size()) names.push_back(name.substr(0, place));
    }
    return names;
  }

 private:
  std::filesystem::path path_;
  host::Samples samples_;
};

}  // namespace

Recorded Recording::at(double t) const {
  const auto above = std::upper_bound(time.begin(), time.end(), t);
  const bool within = above != time.begin() && above != time.end();
  const auto b = static_cast<std::size_t>(std::min(above, time.end() - 1) - time.begin());
  const std::size_t a = within ? b - 1 : b;
  const double share = within ? (t - time[a]) / (time[b] - time[a]) : 0;
  const auto between = [share](const auto& from, const auto& to) { return (from + share * (to - from)).eval(); };
  const auto i = static_cast<Eigen::Index>(a);
  const auto j = static_cast<Eigen::Index>(b);
  const Eigen::Index joints = torques.rows();
  Recorded recorded{between(states[a].q.head<3>(), states[b].q.head<3>()),
                    between(states[a].q.tail(joints), states[b].q.tail(joints)),
                    between(states[a].dq.tail(joints), states[b].dq.tail(joints)),
                    between(torques.col(i), torques.col(j)),
                    {}};
  if (!within) recorded.rates.setZero();
  for (const auto& wrench : wrenches) {
    recorded.foot_loads.push_back(wrench(2, i) + share * (wrench(2, j) - wrench(2, i)));
  }
  return recorded;
}

Recording read_recording(const std::filesystem::path& motion, const std::filesystem::path& results,
                         const std::vector<std::string>& joints) {
  const Table table(results);
  Recording recording;
  recording.time = table.samples().elapsed;
  recording.feet = table.names_before("_force_z");
  recording.feasible = (table.row("feasible").array() > 0).all();

  const host::Trajectory trajectory(host::read_motion(motion, joints, recording.feet));
  const auto count = static_cast<Eigen::Index>(table.samples().count());
  if (trajectory.size() != count || (trajectory.time() - table.row("time").transpose().array()).abs().maxCoeff() > 0) {
    throw host::Error(fmt::format("{}: expected the results of {}", results.string(), motion.string()));
  }
  for (Eigen::Index s = 0; s < count; ++s) recording.states.emplace_back(trajectory.at(s));

  recording.torques.resize(static_cast<Eigen::Index>(joints.size()), count);
  for (std::size_t j = 0; j < joints.size(); ++j) {
    recording.torques.row(static_cast<Eigen::Index>(j)) = table.row(joints[j] + "_torque");
  }
  for (const std::string& foot : recording.feet) {
    auto& wrench = recording.wrenches.emplace_back(6, count);
    for (Eigen::Index i = 0; i < 6; ++i) wrench.row(i) = table.row(foot + of_wrench[i]);
  }
  return recording;
}

}  // namespace korvel::bench
