#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/cli/progress.h"
#include "host/ground/contact_phases.h"
#include "host/ground/ground_cycle.h"
#include "host/ground/soles_file.h"
#include "host/io/error.h"
#include "host/io/output_file.h"
#include "host/motion/cycle.h"
#include "host/motion/motion.h"
#include "host/motion/spline.h"
#include "host/motion/trajectory.h"
#include "host/results/columns.h"
#include "host/results/ground_summary.h"
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
  std::optional<std::filesystem::path> soles;
  bool air = false;
  double ground_height = Ground().height;
  contact::ContactBounds bounds;
  bool require_feasible = false;
  bool json = false;
  unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
};

/// A motion and where its results go.
struct Task {
  std::filesystem::path motion;
  Trajectory trajectory;
  OutputPath results;
  Summary summary;
  /// When each sole stands, and how; if the robot stands.
  std::vector<contact::ContactPhases> phases;
  std::optional<GroundSummary> ground_summary;
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

/// What the robot stands on; nothing if it is held by its root.
std::optional<Ground> ground_of(const RunOptions& options, const tesk::RigidBodySystem& system) {
  if (!options.soles) return std::nullopt;
  Ground ground{read_soles(*options.soles, body_names(system)), options.ground_height, options.bounds};
  return options.air ? std::nullopt : std::optional(std::move(ground));
}

Subject subject(const tesk::RigidBodySystem& system, const std::optional<Ground>& ground) {
  Subject robot{system};
  if (!ground) return robot;
  for (const contact::Sole& sole : ground->soles) robot.soles.push_back(sole.body());
  return robot;
}

/// Of these bodies a motion file may say when they stand: of those with soles, of any if there are none.
std::vector<std::string> may_stand(const Subject& robot) {
  return robot.soles.empty() ? body_names(robot.system) : sole_names(robot);
}

/// Reads every motion before the first one is run, so that nothing is computed in vain.
std::vector<Task> tasks(const RunOptions& options, const std::optional<Ground>& ground, tesk::RigidBodySystem& system) {
  if (options.motions.size() > 1 && !std::filesystem::is_directory(options.output)) {
    throw Error(fmt::format("{}: expected a directory for the results of {} motions", options.output.string(),
                            options.motions.size()));
  }
  Outputs outputs = outputs_beside(options.module);
  if (options.soles) outputs.keep(*options.soles, "the soles");
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
    Motion samples = read_motion(motion, joints, may_stand(subject(system, ground)));
    tell_doubts(samples, joints, options);
    const auto contacts = std::move(samples.contacts);
    tasks.push_back({motion, Trajectory(std::move(samples), penalty), results[i], Summary(system), {}, {}, {}});
    if (!ground) continue;
    Task& task = tasks.back();
    task.phases = contact_phases(task.trajectory, *ground, contacts, system);
    task.ground_summary.emplace(*ground, system);
  }
  return tasks;
}

/// An object of the module, and what it needs of its own on the ground.
struct Worker {
  System system;
  std::optional<GroundCycle> on_ground;
};

void run(Task& task, Worker& worker, const Subject& subject, std::atomic<Eigen::Index>& samples_done) {
  tesk::RigidBodySystem& system = *worker.system;
  task.output = std::make_unique<OutputFile>(task.results);
  task.output->write(results_header(subject));
  for (Eigen::Index sample = 0; sample < task.trajectory.size(); ++sample, ++samples_done) {
    const Instant state = task.trajectory.at(sample);
    const double time = task.trajectory.time()[sample];
    std::optional<Standing> standing;
    const auto start = std::chrono::steady_clock::now();
    if (worker.on_ground) {
      standing = worker.on_ground->run(system, state, task.phases, static_cast<std::size_t>(sample));
    } else {
      run_cycle(system, state);
    }
    const auto end = std::chrono::steady_clock::now();
    const Row row = results_row({subject, time, standing ? &*standing : nullptr});
    if (const auto column = row.first_not_finite()) {
      throw task.trajectory.error_at_sample(
          sample, fmt::format("expected a motion with results within single precision, '{}' is not",
                              results_columns(subject)[*column]));
    }
    task.output->write(row.line());
    task.summary.add(system, time, end - start);
    if (standing) task.ground_summary->add(*standing, time);
  }
  // There may be more motions than files that a process may have open.
  task.output->close();
}

/// Each object runs one task after the other in a thread of its own. Throws what the first that failed has thrown.
void run_all(std::vector<Task>& tasks, std::vector<Worker>& workers, const std::optional<Ground>& ground) {
  Eigen::Index samples = 0;
  for (const Task& task : tasks) samples += task.trajectory.size();
  std::atomic<Eigen::Index> samples_done{0};
  std::atomic<std::size_t> next{0};
  std::vector<std::future<void>> threads;
  for (Worker& worker : workers) {
    threads.push_back(std::async(std::launch::async, [&] {
      const Subject described = subject(*worker.system, ground);
      for (std::size_t i = next++; i < tasks.size(); i = next++) run(tasks[i], worker, described, samples_done);
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

std::string text_of(const Task& task, const RunOptions& options) {
  // What torques leave out stands above them.
  if (!task.ground_summary) {
    const char* how = options.air ? "" : "; --soles stands it on the ground";
    return fmt::format("held by its root, without contact{}\n\n{}", how, task.summary.text());
  }
  return fmt::format("{}\n{}\n{}", task.ground_summary->verdict(), task.ground_summary->margins(), task.summary.text());
}

nlohmann::json json_of(const Task& task) {
  nlohmann::json json{{"motion", task.motion.string()}, {"results", task.results.named().string()}};
  json.update(task.summary.json());
  if (task.ground_summary) json["ground"] = task.ground_summary->json();
  return json;
}

void show_summaries(const std::vector<Task>& tasks, const RunOptions& options) {
  Outputs none;
  Destination destination({}, none);
  if (options.json) {
    nlohmann::json motions = nlohmann::json::array();
    for (const Task& task : tasks) motions.push_back(json_of(task));
    destination.write(json_text(nlohmann::json{{"motions", motions}}));
  } else {
    for (const Task& task : tasks) {
      if (tasks.size() > 1) {
        destination.write_text(
            fmt::format("{}== {}\n", &task == &tasks.front() ? "" : "\n", printable(task.motion.string())));
      }
      destination.write_text(text_of(task, options));
    }
  }
  destination.commit();
}

void run(const RunOptions& options) {
  const Module module = tried_module(options.module);
  std::vector<Worker> workers;
  workers.push_back({robot_of(module), {}});
  const std::optional<Ground> ground = ground_of(options, *workers.front().system);
  std::vector<Task> all = tasks(options, ground, *workers.front().system);
  // Made before any thread runs: no object may be made while another one computes.
  while (workers.size() < std::min<std::size_t>(options.jobs, all.size())) workers.push_back({robot_of(module), {}});
  if (ground) {
    for (Worker& worker : workers) worker.on_ground.emplace(*ground, *worker.system);
  }
  run_all(all, workers, ground);
  for (Task& task : all) task.output->commit();
  show_summaries(all, options);
  const auto stands = [](const Task& task) { return !task.ground_summary || task.ground_summary->stands_throughout(); };
  if (options.require_feasible && !std::all_of(all.begin(), all.end(), stands)) throw Findings();
}

}  // namespace

void add_run(CLI::App& app) {
  CLI::App* command = app.add_subcommand("run", "Kinematics and inverse dynamics of motions, sample by sample");
  command->footer(
      R"(MOTION is a CSV file with a header: time [s], the root's x, y, z [m] and roll, pitch, yaw [rad] in the world,
and one column per joint [rad], in any order. A column other than time that is missing is 0 throughout.
The orientation may be a quaternion qw, qx, qy, qz instead. Velocities and accelerations come from a cubic
spline through the samples, or near them with --cutoff; they are worst in the first and last samples, and of
numbers with few decimals without --cutoff.
With --soles the robot stands on level ground: the soles bear what the motion requires, torques are those with
these forces, and the summary says first whether the motion can be stood. SOLES is a CSV file with the header
body,x,y,z,friction and a row for each corner: the body's name, where the corner is in the body's axes [m],
and the friction against the ground. A column BODY_contact in MOTION, 0 or 1, says when a sole stands; without
it a sole stands while it is near the ground and slow. How a load that several soles could bear is split is a
choice: by the nearness of the zero moment point. Without --soles, or with --air, gravity and inertia are
borne at the root.
RESULTS is a file, or a directory in which NAME.csv gets NAME-results.csv. Its files appear when all motions
have run to their end.)");
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
  CLI::Option* soles =
      command->add_option("--soles", options->soles, "Stand on the ground with these soles")->type_name("SOLES");
  CLI::Option* air = command->add_flag("--air", options->air, "Hold the robot by its root, whatever soles there are");
  command->add_option("--ground", options->ground_height, "Height of the ground in the world [m]")
      ->needs(soles)
      ->check(any_number())
      ->type_name("Z")
      ->capture_default_str();
  command
      ->add_option("--contact-height", options->bounds.height,
                   "A sole stands with its lowest corner at most this high [m]")
      ->needs(soles)
      ->check(positive_number())
      ->capture_default_str();
  command->add_option("--contact-speed", options->bounds.speed, "and slower than this [m/s]")
      ->needs(soles)
      ->check(positive_number())
      ->capture_default_str();
  command->add_option("--contact-time", options->bounds.duration, "for at least this long; shorter gaps are closed [s]")
      ->needs(soles)
      ->check(positive_number())
      ->capture_default_str();
  command
      ->add_flag("--require-feasible", options->require_feasible,
                 "Exit with status 1 if the ground cannot bear a motion throughout")
      ->needs(soles)
      ->excludes(air);
  command->add_flag("--json", options->json, "The summary as JSON");
  command->add_option("-j,--jobs", options->jobs, "Motions at a time, each on an object of its own")
      ->check(whole_number(1, 64))
      ->capture_default_str();
  add_module_option(*command, options->module);
  command->callback([options] { run(*options); });
}

}  // namespace korvel::host
