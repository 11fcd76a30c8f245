#include <fmt/format.h>
#include <re2/re2.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/robot/description.h"
#include "host/robot/module.h"
#include "host/soak/control_loop.h"
#include "motion/csv/printable.h"

namespace korvel::host {

namespace {

using std::chrono::nanoseconds;

struct SoakOptions {
  std::filesystem::path module = default_module();
  nanoseconds period = std::chrono::milliseconds(1);
  std::string period_text = "1ms";
  std::uint64_t cycles = 10'000;
  int priority = 80;
  bool json = false;
};

volatile std::sig_atomic_t stop = 0;

/// Reads a time with its unit. Throws what was expected instead.
nanoseconds period_of(const std::string& text) {
  double value{};
  std::string unit;
  if (RE2::FullMatch(text, R"((\d+\.?\d*|\.\d+)(us|ms|s))", &value, &unit)) {
    const double ns = std::round(value * (unit == "us" ? 1e3 : unit == "ms" ? 1e6 : 1e9));
    if (ns >= 1e4 && ns <= 1e9) return nanoseconds(static_cast<std::int64_t>(ns));
  }
  throw CLI::ValidationError(
      "--period", fmt::format("expected a time from 10us to 1s with its unit, such as 2.5ms, found '{:.40}'", text));
}

/// The loop ends, and what it has seen is told.
void end_loop_on_signals() {
  struct sigaction action {};
  action.sa_handler = [](int) { stop = 1; };
  // The next one ends a module that never comes back.
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

constexpr struct {
  double share;
  const char* words;
  const char* key;
} shares[] = {
    {0.5, "50 %", "p50_ns"}, {0.9, "90 %", "p90_ns"}, {0.99, "99 %", "p99_ns"}, {0.999, "99.9 %", "p99_9_ns"}};

double seconds_at(std::uint64_t place, const SoakOptions& options) {
  return static_cast<double>(place) * static_cast<double>(options.period.count()) / 1e9;
}

std::string row(const char* name, const LoopReport::Times& times, const SoakOptions& options) {
  std::string line = fmt::format("{:<16}", name);
  for (const auto& share : shares) line += fmt::format("{:>9.1f}", times.percentile(share.share) / 1e3);
  const auto& [longest, place] = times.largest();
  return line + fmt::format("{:>10.1f}{:>10.3f}\n", static_cast<double>(longest) / 1e3, seconds_at(place, options));
}

std::string report_text(const LoopReport& report, const RealTime& granted, const SoakOptions& options) {
  std::string text = lines_of(identity(options.module));
  text += fmt::format("{} cycles of {}, memory {}, {}\n\n", report.computing.count(), options.period_text,
                      granted.memory_locked ? "locked" : "not locked",
                      granted.scheduled ? fmt::format("SCHED_FIFO {}", options.priority) : "SCHED_OTHER");
  text += fmt::format("{:<16}", "[us]");
  for (const auto& share : shares) text += fmt::format("{:>9}", share.words);
  text += fmt::format("{:>10}{:>10}\n", "longest", "at [s]");
  text += row("wake-up latency", report.latency, options) + row("computation", report.computing, options) +
          row("sum", report.both, options);
  text += fmt::format(
      "\noverruns: {}; {} computed for more than a period, {} woke up more than one\n"
      "period late; {} skipped\n"
      "page faults: {}, {} of them from disk; context switches: {} to wait, {} forced\n",
      counted(report.late, "cycle"), report.late_by_computing, report.late_by_latency, counted(report.skipped, "cycle"),
      report.minor_faults + report.major_faults, report.major_faults, report.voluntary_switches,
      report.involuntary_switches);
  return text +
         fmt::format("the worst cycle used {:.3g} % of the period\n",
                     100 * static_cast<double>(report.both.largest().ns) / static_cast<double>(options.period.count()));
}

nlohmann::ordered_json in_json(const LoopReport::Times& times, const SoakOptions& options) {
  nlohmann::ordered_json all{{"count", times.count()},
                             {"max_ns", times.largest().ns},
                             {"max_cycle", times.largest().place},
                             {"max_at_s", seconds_at(times.largest().place, options)}};
  for (const auto& share : shares) all[share.key] = std::llround(times.percentile(share.share));
  return all;
}

std::string report_json(const LoopReport& report, const RealTime& granted, const SoakOptions& options) {
  const Identity module = identity(options.module);
  const nlohmann::ordered_json all{
      {"module", options.module.string()},
      {"version", module.version},
      {"build_id", module.build_id},
      {"period_ns", options.period.count()},
      {"cycles", report.computing.count()},
      {"interrupted", stop != 0},
      {"memory_locked", granted.memory_locked},
      {"scheduler", granted.scheduled ? "SCHED_FIFO" : "SCHED_OTHER"},
      {"priority", granted.scheduled ? options.priority : 0},
      {"not_granted", granted.not_granted},
      {"latency", in_json(report.latency, options)},
      {"computing", in_json(report.computing, options)},
      {"both", in_json(report.both, options)},
      {"overran",
       {{"cycles", report.late},
        {"by_computing", report.late_by_computing},
        {"by_latency", report.late_by_latency},
        {"skipped", report.skipped}}},
      {"page_faults", {{"minor", report.minor_faults}, {"major", report.major_faults}}},
      {"context_switches", {{"voluntary", report.voluntary_switches}, {"involuntary", report.involuntary_switches}}}};
  return json_text(all);
}

void soak(const SoakOptions& options) {
  const System system = make_system(Module(options.module));
  end_loop_on_signals();
  const RealTime granted = become_real_time(options.priority);
  if (!granted.not_granted.empty()) tell("warning", granted.not_granted);
  if (isatty(STDERR_FILENO) == 1) {
    tell("note", fmt::format("running {:.3g} s; press Ctrl-C to stop and print the results so far",
                             seconds_at(options.cycles, options)));
  }
  // The other operations of the loop do not throw.
  const LoopReport report = guarded(*system, "computePartialComJacobian", [&] {
    return run_control_loop(*system, {options.period, options.cycles}, stop);
  });
  show(options.json ? report_json(report, granted, options) : report_text(report, granted, options));
}

}  // namespace

void add_soak(CLI::App& app) {
  CLI::App* command = app.add_subcommand("soak", "Run a real-time control loop and report its timing");
  command->footer(
      R"(Wake-up latency is caused by the system. Computation time is the module's, plus
any interruption while it runs. The command locks memory and uses SCHED_FIFO if
the user is allowed to; otherwise it prints a warning. Percentiles are rounded
up by at most 1 %. Ctrl-C stops the loop and prints the results so far.

Examples:
  korvel-host soak --period 1ms --cycles 60000
  korvel-host soak --period 250us --json)");
  const auto options = std::make_shared<SoakOptions>();
  const auto set_period = [options](const std::string& text) {
    options->period = period_of(text);
    options->period_text = text;
  };
  command->add_option_function<std::string>("--period", set_period, "Cycle period, such as 250us or 2.5ms")
      ->type_name("TIME")
      ->default_str("1ms");
  add_number_option(*command, "--cycles", options->cycles, "Number of cycles", whole_number(1, 1'000'000'000'000));
  add_number_option(*command, "--priority", options->priority, "SCHED_FIFO priority, 1 to 99", whole_number(1, 99));
  add_module_option(*command, options->module);
  command->add_flag("--json", options->json, "Print the results as JSON");
  command->callback([options] { soak(*options); });
}

}  // namespace korvel::host
