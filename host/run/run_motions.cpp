#include "host/run/run_motions.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/robot/module.h"
#include "host/run/ground_cycle.h"
#include "motion/csv/error.h"
#include "motion/doubts.h"
#include "motion/spline.h"
#include "motion/trajectory.h"

namespace korvel::host {

namespace {

using Tell = std::function<void(const std::string& line)>;
using Progress = std::function<void(double share)>;

/// A motion to run.
struct Task {
  Trajectory trajectory;
  ResultsFile::Paths paths;
  RunOutcome outcome;
  std::vector<std::vector<double>> shares;  ///< of each sole, as contact_shares() has them
  std::unique_ptr<ResultsFile> results;

  bool is_on_ground() const { return outcome.held.empty(); }
};

std::filesystem::path results_of(const std::filesystem::path& motion, const RunOptions& options) {
  std::filesystem::path name = motion.stem().string() + "-results.csv";
  if (!options.output) {
    const bool is_free = !std::filesystem::exists(name) || ResultsFile::is_described(name);
    if (!is_free) {
      throw Error(
          "{}: cannot write: would replace a file that is no results of korvel-host; name others "
          "with -o",
          name.string());
    }
    return name;
  }
  return std::filesystem::is_directory(*options.output) ? *options.output / name : *options.output;
}

std::vector<ResultsFile::Paths> claim_results(const RunOptions& options, Outputs& outputs) {
  if (options.motion_files.size() > 1 && options.output && !std::filesystem::is_directory(*options.output)) {
    throw Error("{}: expected a directory that exists for the results of {} motions", options.output->string(),
                options.motion_files.size());
  }
  std::vector<ResultsFile::Paths> paths;
  for (const std::filesystem::path& motion : options.motion_files) {
    paths.push_back(ResultsFile::claim(results_of(motion, options), outputs));
  }
  return paths;
}

/// Warns about numbers of a motion that suggest a mistake, rounding or noise.
void tell_doubts(const Motion& motion, const tesk::RigidBodySystem& system, const RunOptions& options,
                 const Tell& tell) {
  const std::string file = motion.file.string();
  const std::vector<std::string> joints = joint_names(system);
  for (const std::string& doubt : doubts_about(motion, joints, limbs_of(system))) {
    tell(fmt::format("{}: {}", file, doubt));
  }
  const double half_rate = 0.5 * static_cast<double>(motion.elapsed.size() - 1) / motion.elapsed.tail(1)(0);
  if (options.cutoff && *options.cutoff > half_rate) {
    tell(fmt::format("{}: --cutoff {:.4g} is above half the sample rate, {:.4g} Hz, and changes little", file,
                     *options.cutoff, half_rate));
  }
  const std::optional<Noise> noise = options.cutoff ? std::nullopt : noise_of(motion, joints);
  if (!noise) return;
  tell(fmt::format(
      "{}: {} changes accelerations by {:.2g} rad/s^2 or m/s^2 (rms); --cutoff {:.2g} reduces that to {:.1g}", file,
      noise->source, noise->rms, noise->cutoff, noise->rms_at_cutoff));
}

/// Reads the ground and the soles; nothing if the robot is held by its root.
std::optional<Ground> ground_of(const RunOptions& options, const tesk::RigidBodySystem& system) {
  std::vector<contact::Sole> soles = options.soles ? read_soles(*options.soles, body_names(system)) : own_soles(system);
  if (options.air || soles.empty()) return std::nullopt;
  return Ground{std::move(soles), options.ground_height.value_or(0), options.bounds};
}

/// Says why a robot is held by its root; nothing if it stands on the ground.
std::string why_held(const std::optional<Ground>& ground, const Motion& motion, const RunOptions& options) {
  if (options.air) return "held by its torso, no ground contact\n";
  if (!ground) {
    return "held by its root, no ground contact: the soles of this robot are not known;\n"
           "put it on the ground with --soles FILE\n";
  }
  if (motion.has_root() || options.root_from_feet || options.ground_height) return "";
  return "held by its torso at the origin, no verdict: the motion has no columns of the\n"
         "root (x, y, z, roll, pitch, yaw); place it with --root-from-feet, or give\n"
         "--ground Z\n";
}

/// A motion file may say when these bodies stand: those with soles, or any if there are none.
std::vector<std::string> may_stand(const std::optional<Ground>& ground, const tesk::RigidBodySystem& system) {
  if (!ground) return body_names(system);
  std::vector<std::string> names;
  for (const contact::Sole& sole : ground->soles) names.push_back(system.getBodyName(sole.body()));
  return names;
}

std::vector<Task> read_tasks(const RunOptions& options, const std::vector<ResultsFile::Paths>& paths,
                             const std::optional<Ground>& ground, const std::vector<JointLimits>& limits,
                             const Robot& robot, tesk::RigidBodySystem& system, const Tell& tell) {
  const std::vector<std::string> joints = joint_names(system);
  const double penalty = options.cutoff ? penalty_of_cutoff(*options.cutoff) : 0;
  std::vector<Task> tasks;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const std::filesystem::path& file = options.motion_files[i];
    Motion motion = read_motion(file, joints, may_stand(ground, system));
    tell_doubts(motion, system, options, tell);
    if (options.root_from_feet) {
      if (motion.has_root()) tell(file.string() + ": --root-from-feet replaces the columns of the root");
      place_root_from_feet(motion, *ground, robot);
    }
    const auto contacts = std::move(motion.contacts);
    RunOutcome outcome{file, paths[i].results.named, Summary(system, limits), {}, why_held(ground, motion, options)};
    tasks.push_back({Trajectory(std::move(motion), penalty), paths[i], std::move(outcome), {}, {}});
    if (!tasks.back().is_on_ground()) continue;
    Task& task = tasks.back();
    task.shares = contact_shares(task.trajectory, *ground, contacts, system);
    task.outcome.ground_summary.emplace(*ground, system);
  }
  return tasks;
}

/// An object of the module, and what it needs of its own on the ground.
struct Worker {
  System system;
  std::optional<GroundCycle> on_ground;
};

void run(Task& task, Worker& worker, const Ground* stands_on, std::atomic<Eigen::Index>& samples_done) {
  tesk::RigidBodySystem& system = *worker.system;
  const Ground* const ground = task.is_on_ground() ? stands_on : nullptr;
  // The loads of a motion before stay on the feet.
  if (worker.on_ground && ground == nullptr) worker.on_ground->unload(system);
  task.results = std::make_unique<ResultsFile>(task.paths);
  for (Eigen::Index sample = 0; sample < task.trajectory.size(); ++sample, ++samples_done) {
    const Instant state = task.trajectory.at(sample);
    const double time = task.trajectory.time()[sample];
    std::optional<Standing> standing;
    const auto start = std::chrono::steady_clock::now();
    if (ground != nullptr) {
      standing = worker.on_ground->run(system, state, task.shares, static_cast<std::size_t>(sample));
    } else {
      run_cycle(system, state);
    }
    const auto end = std::chrono::steady_clock::now();
    if (const auto column = task.results->add({system, time, ground, standing ? &*standing : nullptr})) {
      throw task.trajectory.error_at_sample(
          sample, fmt::format("expected a motion with results within single precision, '{}' is not", *column));
    }
    task.outcome.summary.add(system, time, end - start);
    if (standing) task.outcome.ground_summary->add(*standing, time);
  }
  // There may be more motions than files that a process may have open.
  task.results->close();
}

/// Each object runs one task after the other in a thread of its own. Throws what the first that failed has thrown.
void run_all(std::vector<Task>& tasks, std::vector<Worker>& workers, const Ground* ground, const Progress& progress) {
  // A run that is shorter shows nothing.
  constexpr std::chrono::seconds interval{1};
  Eigen::Index samples = 0;
  for (const Task& task : tasks) samples += task.trajectory.size();
  std::atomic<Eigen::Index> samples_done{0};
  std::atomic<std::size_t> next{0};
  std::vector<std::future<void>> threads;
  for (Worker& worker : workers) {
    threads.push_back(std::async(std::launch::async, [&] {
      for (std::size_t i = next++; i < tasks.size(); i = next++) run(tasks[i], worker, ground, samples_done);
    }));
  }
  for (std::future<void>& thread : threads) {
    while (thread.wait_for(interval) == std::future_status::timeout) {
      progress(static_cast<double>(samples_done) / static_cast<double>(samples));
    }
  }
  for (std::future<void>& thread : threads) thread.get();
}

}  // namespace

nlohmann::json RunOutcome::json() const {
  nlohmann::json all{{"motion", motion_file.string()}, {"results", results.string()}};
  all["held"] = held.empty() ? nlohmann::json() : nlohmann::json(held);
  all.update(summary.json());
  if (ground_summary) all["ground"] = ground_summary->json();
  return all;
}

std::vector<RunOutcome> run_motions(const RunOptions& options, Outputs& outputs, const Tell& tell,
                                    const Progress& progress) {
  const Module module(options.module);
  std::vector<Worker> workers;
  workers.push_back({make_system(module), {}});
  const std::optional<Ground> ground = ground_of(options, *workers.front().system);
  const Ground* const stands_on = ground ? &*ground : nullptr;
  std::vector<JointLimits> limits;
  if (options.limits) limits = read_limits(*options.limits, joint_names(*workers.front().system));
  if (options.root_from_feet && !ground)
    throw Error("run: --root-from-feet needs the soles of this robot, --soles FILE");
  const Robot robot = options.root_from_feet ? read_robot(*make_system(module)) : Robot{};
  std::vector<Task> tasks =
      read_tasks(options, claim_results(options, outputs), ground, limits, robot, *workers.front().system, tell);
  // Made before any thread runs: no object may be made while another one computes.
  while (workers.size() < std::min<std::size_t>(options.jobs, tasks.size()))
    workers.push_back({make_system(module), {}});
  if (ground) {
    for (Worker& worker : workers) worker.on_ground.emplace(*ground, *worker.system);
  }
  run_all(tasks, workers, stands_on, progress);
  // An object of its own: what is asked of it is no part of a motion, in a recording for instance.
  for (Task& task : tasks) {
    nlohmann::json description = run_description(*make_system(module), task.is_on_ground() ? stands_on : nullptr);
    if (task.is_on_ground()) description["ground"]["summary"] = task.outcome.ground_summary->json_with_words();
    if (options.limits) description["limits"] = task.outcome.summary.limits_json_with_words();
    task.results->describe(description);
  }
  std::vector<RunOutcome> outcomes;
  for (Task& task : tasks) {
    task.results->commit();
    outcomes.push_back(std::move(task.outcome));
  }
  return outcomes;
}

}  // namespace korvel::host
