#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <system_error>

#include "host/commands.h"
#include "host/cycle.h"
#include "host/error.h"
#include "host/module.h"
#include "host/motion.h"
#include "host/output_file.h"
#include "host/progress.h"
#include "host/results.h"
#include "host/summary.h"
#include "host/trajectory.h"

namespace korvel::host {

namespace {

struct RunOptions {
  std::filesystem::path module = defaultModule();
  std::filesystem::path motion;
  std::filesystem::path results;
};

void run(const RunOptions& options) {
  std::error_code ignored;
  if (std::filesystem::equivalent(options.motion, options.results, ignored)) {
    throw Error(options.results.string() + ": the results would replace the motion");
  }
  const System system = Module(options.module).create();
  const Trajectory trajectory(readMotion(options.motion, jointNames(*system)));
  OutputFile output(options.results);
  output.write(resultsHeader(*system));
  Summary summary(*system);
  {
    Progress progress;
    for (Eigen::Index sample = 0; sample < trajectory.size(); ++sample) {
      const State state = trajectory.at(sample);
      const auto start = std::chrono::steady_clock::now();
      runCycle(*system, state);
      const auto end = std::chrono::steady_clock::now();
      output.write(resultsRow(*system, trajectory.time()[sample]));
      summary.add(*system, trajectory.time()[sample], end - start);
      progress.show(static_cast<double>(sample) / static_cast<double>(trajectory.size()));
    }
  }
  output.commit();
  fmt::print("{}", summary.text());
}

}  // namespace

void addRun(CLI::App& app) {
  CLI::App* command = app.add_subcommand("run", "Kinematics and inverse dynamics of a motion, sample by sample");
  command->footer(
      "MOTION is a CSV file with a header: time [s], the root's x, y, z [m] and roll, pitch, yaw [rad] in the world,\n"
      "and one column per joint [rad], in any order. A column other than time that is missing is 0 throughout.\n"
      "Velocities and accelerations come from a cubic spline through the samples. Torques are those of the motion\n"
      "with no contact to the ground: gravity and inertia are borne at the root.");
  const auto options = std::make_shared<RunOptions>();
  command->add_option("MOTION", options->motion, "Motion file")->required();
  command
      ->add_option("-o,--output", options->results,
                   "Results file: torques, centre of mass, positions of the bodies and of their centres of mass")
      ->type_name("RESULTS")
      ->required();
  addModuleOption(*command, options->module);
  command->callback([options] { run(*options); });
}

}  // namespace korvel::host
