#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <tuple>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/robot/description.h"
#include "host/run/run_motions.h"
#include "motion/csv/printable.h"

namespace korvel::host {

namespace {

struct RunCommand {
  RunOptions options;
  bool require_feasible = false;
  bool all = false;  ///< shows all joints and limits
  bool json = false;
  std::optional<std::filesystem::path> page;
};

std::string text_of(const RunOutcome& outcome, const RunCommand& command) {
  // The verdict comes first, and what torques leave out stands above them.
  std::string text = outcome.ground_summary ? outcome.ground_summary->verdict_text() : outcome.held;
  if (command.options.limits) text += outcome.summary.limits_verdict_text();
  text += '\n' + outcome.summary.peaks_text(command.all) + '\n';
  if (command.options.limits) text += outcome.summary.limits_text(command.all) + '\n';
  if (outcome.ground_summary) text += outcome.ground_summary->margins_text() + '\n';
  text += outcome.summary.run_text();
  text += wrote(outcome.results);
  if (command.page) return text + wrote(*command.page);
  std::filesystem::path page = outcome.results.filename();
  return text + fmt::format("show it with:\n  korvel-host report {} -o {}\n", printable(outcome.results.string()),
                            printable(page.replace_extension(".html").string()));
}

void show_summaries(const std::vector<RunOutcome>& outcomes, const RunCommand& command) {
  Destination destination;
  if (command.json) {
    nlohmann::json motions = nlohmann::json::array();
    for (const RunOutcome& outcome : outcomes) motions.push_back(outcome.json());
    destination.write(json_text(nlohmann::json{{"motions", motions}}));
  }
  for (const RunOutcome& outcome : outcomes) {
    if (command.json) break;
    if (outcomes.size() > 1) {
      const char* apart = &outcome == &outcomes.front() ? "" : "\n";
      destination.write_text(fmt::format("{}== {}\n", apart, printable(outcome.motion_file.string())));
    }
    destination.write_text(text_of(outcome, command));
  }
  destination.commit();
}

void run(const RunCommand& command) {
  if (command.page && command.options.motion_files.size() > 1) throw Error("run: --report takes one motion");
  Outputs outputs = outputs_beside(command.options.module);
  if (command.options.soles) outputs.keep(*command.options.soles, "the soles");
  if (command.options.limits) outputs.keep(*command.options.limits, "the limits");
  for (const std::filesystem::path& motion : command.options.motion_files) outputs.keep(motion, "a motion");
  std::optional<OutputFile> page;
  if (command.page) require_report_template();
  if (command.page) page.emplace(outputs.claim(*command.page));
  std::vector<RunOutcome> outcomes;
  {
    const std::vector<std::filesystem::path>& files = command.options.motion_files;
    ProgressLine progress(files.size() == 1 ? files.front().string() : fmt::format("{} motions", files.size()));
    const auto warn = [](const std::string& line) { tell("warning", line); };
    outcomes = run_motions(command.options, outputs, warn, [&progress](double share) { progress.show(share); });
  }
  if (page) write_page(outcomes.front().results, std::nullopt, *page);
  show_summaries(outcomes, command);
  const bool all_are_feasible =
      std::all_of(outcomes.begin(), outcomes.end(), [](const RunOutcome& outcome) { return outcome.is_feasible(); });
  if (command.require_feasible && !all_are_feasible) throw Findings();
}

}  // namespace

void add_run(CLI::App& app) {
  CLI::App* command = app.add_subcommand("run", "Compute torques, positions and forces of motion files");
  command->footer(
      R"(MOTION is CSV with a header: time [s], the root's x, y, z [m] and roll, pitch,
yaw [rad] or a quaternion qw, qx, qy, qz, and one column per joint [rad], in
any order. Missing columns are 0. A column BODY_contact, 0 or 1, says when a
sole is in contact. Derivatives come from a cubic spline; they are least
accurate in the first and last samples. For rounded or measured data use
--cutoff.
The robot stands on its own soles. SOLES replaces them: CSV with the header
body,x,y,z,friction and a row for each corner, in the body's axes [m].
LIMITS has the numbers of your motors: CSV with the header
joint,lower,upper,speed,torque, a row for each joint, in rad, rad, rad/s and
N m. An empty field is no limit.
RESULTS is a file, or a directory in which NAME.csv becomes NAME-results.csv.
NAME.json beside each NAME.csv of results describes the robot for the report.

Examples:
  korvel-host run squat.csv --report squat.html
  korvel-host run *.csv -o results/ --json)");
  const auto all = std::make_shared<RunCommand>();
  RunOptions* const options = &all->options;
  options->module = default_module();
  command->add_option("MOTION", options->motion_files, "Motion files")->required();
  add_file_option(*command, "-o,--output", options->output,
                  "Write the results to this file, or into this directory (default: MOTION-results.csv here)",
                  "RESULTS");
  add_file_option(*command, "--report", all->page, "Also write the report of the results to this page", "PAGE");
  add_number_option(*command, "--cutoff", options->cutoff,
                    "Low-pass filter the motion; half-power frequency in Hz. For measured or rounded data",
                    positive_number(), "HZ");
  add_file_option(*command, "--soles", options->soles, "Stand the robot on these soles", "SOLES");
  add_file_option(*command, "--limits", options->limits, "Compare the joints with these limits", "LIMITS");
  CLI::Option* air = command->add_flag("--air", options->air, "Hold the robot by its torso, without ground contact");
  command
      ->add_flag("--root-from-feet", options->root_from_feet,
                 "For files of joint angles only: place the torso so that the supporting foot stays in place")
      ->excludes(air);
  add_number_option(*command, "--ground", options->ground_height, "Set the height of the ground in the world [m]",
                    any_number(), "Z")
      ->default_str("0");
  contact::ContactBounds& bounds = options->bounds;
  for (const auto& [name, bound, help] :
       {std::tuple("--contact-height", &bounds.height, "Contact if the lowest corner is below this height [m]"),
        std::tuple("--contact-speed", &bounds.speed, "Contact if that corner is slower than this [m/s]"),
        std::tuple("--contact-time", &bounds.duration, "Ignore contacts and gaps shorter than this [s]")}) {
    add_number_option(*command, name, *bound, help, positive_number(), "X");
  }
  command
      ->add_flag("--require-feasible", all->require_feasible,
                 "Exit with status 1 if the robot cannot stay on its feet or exceeds --limits")
      ->excludes(air);
  command->add_flag("--all", all->all, "Print the peaks of all joints and the use of all limits");
  command->add_flag("--json", all->json, "Print the summary as JSON");
  add_jobs_option(*command, options->jobs, "Number of motions to run in parallel, 1 to 64");
  add_module_option(*command, options->module);
  command->callback([all] { run(*all); });
}

}  // namespace korvel::host
