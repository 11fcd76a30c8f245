#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/robot/identity.h"
#include "host/robot/trial.h"
#include "host/soak/control_loop.h"
#include "host/soak/real_time.h"

namespace korvel::host {

namespace {

using std::chrono::nanoseconds;

struct SoakOptions {
  std::filesystem::path module = default_module();
  std::int64_t period_ns = 1'000'000;
  std::uint64_t cycles = 10'000;
  int priority = 80;
  bool json = false;
};

volatile std::sig_atomic_t stop = 0;

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
  return static_cast<double>(place) * static_cast<double>(options.period_ns) / 1e9;
}

std::string in_microseconds(double ns) { return fmt::format("{:.1f}", ns / 1e3); }

std::string row(const char* name, const TimeHistogram& times, const SoakOptions& options) {
  std::string line = fmt::format("{:<24}", name);
  for (const auto& share : shares) line += fmt::format("{:>9}", in_microseconds(times.percentile(share.share)));
  const TimeHistogram::Largest& largest = times.largest();
  return line + fmt::format("{:>10}  in cycle {}, at {:.3f} s\n", in_microseconds(static_cast<double>(largest.ns)),
                            largest.place, seconds_at(largest.place, options));
}

std::string in_words(const LoopReport& report, const RealTime& granted, const SoakOptions& options) {
  std::string text = fmt::format("{}\n", in_words(identity(options.module)));
  text += fmt::format("{} cycles of {}, memory {}, {}\n", report.computing.count(),
                      time_in_words(nanoseconds(options.period_ns)), granted.memory_locked ? "locked" : "not locked",
                      granted.scheduled ? fmt::format("SCHED_FIFO {}", options.priority) : "SCHED_OTHER");
  text += fmt::format("{:<24}", "us");
  for (const auto& share : shares) text += fmt::format("{:>9}", share.words);
  text += fmt::format("{:>10}\n", "largest");
  text += row("waking up late", report.latency, options);
  text += row("computing", report.computing, options);
  text += row("both", report.both, options);
  text +=
      fmt::format("overran: {} cycles; {} computed for more than a period, {} woke up more than one late; {} skipped\n",
                  report.late, report.late_by_computing, report.late_by_latency, report.skipped);
  text += fmt::format("in the loop: {} page faults, {} of them from disk; {} context switches to wait, {} forced\n",
                      report.minor_faults + report.major_faults, report.major_faults, report.voluntary_switches,
                      report.involuntary_switches);
  return text;
}

nlohmann::json in_json(const TimeHistogram& times, const SoakOptions& options) {
  nlohmann::json all{{"count", times.count()},
                     {"max_ns", times.largest().ns},
                     {"max_cycle", times.largest().place},
                     {"max_at_s", seconds_at(times.largest().place, options)}};
  for (const auto& share : shares) all[share.key] = std::llround(times.percentile(share.share));
  return all;
}

std::string in_json(const LoopReport& report, const RealTime& granted, const SoakOptions& options) {
  const Identity module = identity(options.module);
  const nlohmann::json all{
      {"module", options.module.string()},
      {"version", module.version},
      {"build_id", module.build_id},
      {"period_ns", options.period_ns},
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
  const System robot = robot_of(tried_module(options.module));
  end_loop_on_signals();
  const RealTime granted = become_real_time(options.priority);
  if (!granted.not_granted.empty()) tell(granted.not_granted);
  const LoopReport report = run_control_loop(*robot, {nanoseconds(options.period_ns), options.cycles}, stop);
  show(options.json ? in_json(report, granted, options) : in_words(report, granted, options));
}

}  // namespace

void add_soak(CLI::App& app) {
  CLI::App* command = app.add_subcommand("soak", "Run a control loop, and tell what its cycles took and why");
  command->footer(
      "Waking up late is the system's part of a cycle, computing the module's, and that of whoever interrupts it.\n"
      "Memory is locked, and the thread scheduled by SCHED_FIFO, where the user may; a line says where not.\n"
      "Percentiles are at most 1 % too long. An interrupt ends the loop, and what it has seen is told.");
  const auto options = std::make_shared<SoakOptions>();
  command->add_option("--period", options->period_ns, "From cycle to cycle: 250us, 2.5ms")
      ->type_name({})
      ->transform(time_between(std::chrono::microseconds(10), std::chrono::seconds(1)))
      ->default_str(time_in_words(nanoseconds(options->period_ns)));
  command->add_option("--cycles", options->cycles, "How many")
      ->check(whole_number(1, 1'000'000'000'000))
      ->capture_default_str();
  command->add_option("--priority", options->priority, "Of SCHED_FIFO")
      ->check(whole_number(1, 99))
      ->capture_default_str();
  add_module_option(*command, options->module);
  command->add_flag("--json", options->json, "What was seen as JSON");
  command->callback([options] { soak(*options); });
}

}  // namespace korvel::host
