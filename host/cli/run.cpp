#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <thread>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/cli/progress.h"
#include "host/io/error.h"
#include "host/io/output_file.h"
#include "host/motion/cycle.h"
#include "host/motion/motion.h"
#include "host/motion/spline.h"
#include "host/motion/trajectory.h"
#include "host/results/columns.h"
#include "host/results/summary.h"
#include "host/robot/robot.h"
#include "host/robot/trial.h"

namespace korvel::host {

namespace {

struct RunOptions {
  std::filesystem::path module = default_module();
  std::vector<std::filesystem::path> motions;
  std::filesystem::path output;
  std::optional<double> cutoff;
  unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
};

/// A motion and where its results go.
struct Task {
  std::filesystem::path motion;
  Trajectory trajectory;
  OutputPath results;
  Summary summary;
  std::unique_ptr<OutputFile> output;
};

std::filesystem::path results_of(const std::filesystem::path& motion, const RunOptions& options) {
  if (!std::filesystem::is_directory(options.output)) return options.output;
  return options.output / (motion.stem().string() + "-results.csv");
}

/// What the numbers of a motion look like, and the user may not know.
void tell_doubts(const Motion& motion, const std::vector<std::string>& joints, const RunOptions& options) {
  const std::string file = motion.file.string();
  for (const std::string& doubt : doubts_about(motion, joints)) tell(fmt::format("{}: {}", file, doubt));
  const std::optional<RoundingNoise> noise = options.cutoff ? std::nullopt : rounding_noise(motion);
  if (!noise) return;
  tell(fmt::format(
      "{}: numbers have {} decimals: half a unit of the last changes accelerations by up to {:.2g}, rms {:.2g} "
      "rad/s^2 or m/s^2; --cutoff {:.2g} leaves {:.1g}",
      file, motion.decimals, noise->largest, noise->rms, noise->cutoff, noise->rms_at_cutoff));
}

/// Reads every motion before the first one is run, so that nothing is computed in vain.
std::vector<Task> tasks(const RunOptions& options, const tesk::RigidBodySystem& system) {
  if (options.motions.size() > 1 && !std::filesystem::is_directory(options.output)) {
    throw Error(fmt::format("{}: expected a directory for the results of {} motions", options.output.string(),
                            options.motions.size()));
  }
  Outputs outputs = outputs_beside(options.module);
  for (const std::filesystem::path& motion : options.motions) outputs.keep(motion, "a motion");
  std::vector<OutputPath> results;
  for (const std::filesystem::path& motion : options.motions) {
    results.push_back(outputs.claim(results_of(motion, options)));
  }
  const std::vector<std::string> joints = joint_names(system);
  const double penalty = options.cutoff ? penalty_of_cutoff(*options.cutoff) : 0;
  std::vector<Task> tasks;
  for (std::size_t i = 0; i < results.size(); ++i) {
    const std::filesystem::path& motion = options.motions[i];
    Motion samples = read_motion(motion, joints);
    tell_doubts(samples, joints, options);
    tasks.push_back({motion, Trajectory(std::move(samples), penalty), results[i], Summary(system), {}});
  }
  return tasks;
}

void run(Task& task, tesk::RigidBodySystem& system, std::atomic<Eigen::Index>& samples_done) {
  task.output = std::make_unique<OutputFile>(task.results);
  task.output->write(results_header(system));
  for (Eigen::Index sample = 0; sample < task.trajectory.size(); ++sample, ++samples_done) {
    const Instant state = task.trajectory.at(sample);
    const double time = task.trajectory.time()[sample];
    const auto start = std::chrono::steady_clock::now();
    run_cycle(system, state);
    const auto end = std::chrono::steady_clock::now();
    const Row row = results_row({system, time});
    if (const auto column = row.first_not_finite()) {
      throw task.trajectory.error_at_sample(
          sample, fmt::format("expected a motion with results within single precision, '{}' is not",
                              results_columns(system)[*column]));
    }
    task.output->write(row.line());
    task.summary.add(system, time, end - start);
  }
  // There may be more motions than files that a process may have open.
  task.output->close();
}

/// Each object runs one task after the other in a thread of its own. Throws what the first that failed has thrown.
void run_all(std::vector<Task>& tasks, const std::vector<System>& systems) {
  Eigen::Index samples = 0;
  for (const Task& task : tasks) samples += task.trajectory.size();
  std::atomic<Eigen::Index> samples_done{0};
  std::atomic<std::size_t> next{0};
  std::vector<std::future<void>> threads;
  for (const System& system : systems) {
    threads.push_back(std::async(std::launch::async, [&] {
      for (std::size_t i = next++; i < tasks.size(); i = next++) run(tasks[i], *system, samples_done);
    }));
  }
  Progress progress;
  for (std::future<void>& thread : threads) {
    while (thread.wait_for(Progress::interval) == std::future_status::timeout) {
      progress.show(static_cast<double>(samples_done) / static_cast<double>(samples));
    }
  }
  for (std::future<void>& thread : threads) thread.get();
}

void run(const RunOptions& options) {
  const Module module = tried_module(options.module);
  std::vector<System> systems;
  systems.push_back(robot_of(module));
  std::vector<Task> all = tasks(options, *systems.front());
  // Made before any thread runs: no object may be made while another one computes.
  while (systems.size() < std::min<std::size_t>(options.jobs, all.size())) systems.push_back(robot_of(module));
  run_all(all, systems);
  for (Task& task : all) task.output->commit();
  for (const Task& task : all) {
    const std::string name = printable(task.motion.string());
    if (all.size() > 1) show(fmt::format("{}== {}\n", &task == &all.front() ? "" : "\n", name));
    show(task.summary.text());
  }
}

}  // namespace

void add_run(CLI::App& app) {
  CLI::App* command = app.add_subcommand("run", "Kinematics and inverse dynamics of motions, sample by sample");
  command->footer(
      "MOTION is a CSV file with a header: time [s], the root's x, y, z [m] and roll, pitch, yaw [rad] in the world,\n"
      "and one column per joint [rad], in any order. A column other than time that is missing is 0 throughout.\n"
      "The orientation may be a quaternion qw, qx, qy, qz instead. Velocities and accelerations come from a cubic\n"
      "spline through the samples, or near them with --cutoff; they are worst in the first and last samples, and of\n"
      "numbers with few decimals without --cutoff. Torques are those of the motion\n"
      "with no contact to the ground: gravity and inertia are borne at the root.\n"
      "RESULTS is a file, or a directory in which NAME.csv gets NAME-results.csv. Its files appear when all motions\n"
      "have run to their end.");
  const auto options = std::make_shared<RunOptions>();
  command->add_option("MOTION", options->motions, "Motion files")->required();
  command
      ->add_option("-o,--output", options->output,
                   "Results: torques, centre of mass, positions of the bodies and of their centres of mass")
      ->type_name("RESULTS")
      ->required();
  command
      ->add_option("--cutoff", options->cutoff,
                   "Smooth: frequency [Hz] of which half the power is left; for rounded and measured motions")
      ->check(positive_number());
  command->add_option("-j,--jobs", options->jobs, "Motions at a time, each on an object of its own")
      ->check(whole_number(1, 64))
      ->capture_default_str();
  add_module_option(*command, options->module);
  command->callback([options] { run(*options); });
}

}  // namespace korvel::host
