/// Plays motions on the ground in MuJoCo, by the torques that a run has found for them, and has MuJoCo compute what
/// these should be.
///
///   korvel-stand MODEL.xml [MOTION.csv RESULTS.csv]...
///
/// MODEL is the robot exported with soles. Prints a table with a row for each motion. Fails if a motion that is
/// feasible by its results does not stay up, or feet carry other loads than these say; if one that is not feasible does
/// stay up; and if forces are over their bounds.

#include <fmt/format.h>

#include "bench/program.h"
#include "bench/stand/simulation.h"

namespace {

using namespace korvel::bench;

constexpr double most_drift = 0.01;           // of what stays up [m]
constexpr double most_load_deviation = 0.05;  // by the weight
constexpr double most_root_force = 1e-6;      // by the weight
constexpr double most_joint_torque = 1e-5;    // [N m]

std::vector<std::string> joints_of(const mjModel& model) {
  std::vector<std::string> joints;
  // The first is the root's.
  for (int j = 1; j < model.njnt; ++j) joints.emplace_back(mj_id2name(&model, mjOBJ_JOINT, j));
  return joints;
}

void print_head(const Recording& recording) {
  std::string loads;
  for (const std::string& foot : recording.feet) loads += fmt::format(" load of {}: rms, largest |", foot);
  fmt::print(
      "| motion | verdict of korvel | in MuJoCo | root off by [mm] |{} feedback [N m] | root force | joints [N m] |\n",
      loads);
  fmt::print("|{}\n", fmt::join(std::vector<const char*>(7 + recording.feet.size(), " --- |"), ""));
}

/// Returns whether all is as the results say.
bool print_row(const std::string& name, const Recording& recording, const Played& played, const Inverse& inverse) {
  const bool stays_up = played.drift <= most_drift;
  const char* words = stays_up ? "stays up" : played.lowest < 0.7 ? "falls" : "drifts";
  std::string row = fmt::format("| {} | {} | {} | {:.1f} |", name, recording.feasible ? "feasible" : "not feasible",
                                words, 1e3 * played.drift);
  bool as_expected = stays_up == recording.feasible;
  for (const Deviation& load : played.loads) {
    row += fmt::format(" {:.4f}, {:.3f} |", load.rms, load.largest);
    if (recording.feasible) as_expected = as_expected && load.largest <= most_load_deviation;
  }
  row += fmt::format(" {:.2f} | {:.1e} | {:.1e} |", played.feedback, inverse.root, inverse.joints);
  fmt::print("{}\n", row);
  if (recording.feasible) as_expected = as_expected && inverse.root <= most_root_force;
  return as_expected && inverse.joints <= most_joint_torque;
}

bool run(const std::vector<std::string>& files) {
  if (files.size() < 3 || files.size() % 2 == 0) {
    throw std::invalid_argument("expected MODEL.xml [MOTION.csv RESULTS.csv]...");
  }
  const MujocoModel model = load_mujoco(files.front());
  bool as_expected = true;
  for (std::size_t i = 1; i < files.size(); i += 2) {
    const Recording recording = read_recording(files[i], files[i + 1], joints_of(*model));
    if (i == 1) print_head(recording);
    const std::string name = std::filesystem::path(files[i]).stem();
    if (print_row(name, recording, play(*model, recording), compare_inverse(*model, recording))) continue;
    std::cerr << "korvel-stand: not as it should be: " << name << '\n';
    as_expected = false;
  }
  return as_expected;
}

}  // namespace

int main(int argc, char** argv) { return korvel::bench::run_program(argc, argv, run); }
