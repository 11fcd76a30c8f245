#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/process/output_file.h"
#include "host/robot/json_text.h"
#include "host/robot/module.h"
#include "host/run/results_file.h"
#include "motion/csv/error.h"
#include "motion/csv/printable.h"
#include "recorder/replay/apart.h"
#include "recorder/replay/playback.h"
#include "recorder/replay/recorded_motion.h"
#include "recorder/replay/statistics.h"
#include "recorder/replay/words.h"

namespace korvel::host {

namespace {

struct ReplayOptions {
  std::filesystem::path module = default_module();
  std::vector<std::filesystem::path> recordings;
  Window window;
  std::optional<std::filesystem::path> cut, csv, results;
  std::uint32_t object = 0;
  bool stats = false;
  bool json = false;
  bool verbose = false;

  bool looks_at_the_file_alone() const { return stats || csv; }
  bool compares() const { return cut || !(looks_at_the_file_alone() || results); }
};

Error nothing_of(std::uint32_t object, const RecordingFile& recording, const Window& window) {
  const bool is_all = window.from <= 0 && std::isinf(window.to);
  return Error(fmt::format("{}: no computation of object {} is recorded{}", recording.path().string(), object,
                           is_all ? "" : fmt::format(" from {} s to {} s", window.from, window.to)));
}

/// Writes the positions that an object was set to. Returns the line for the user, as the others do.
std::string write_motion(const RecordingFile& recording, const Window& window, std::uint32_t object,
                         const OutputPath& path) {
  OutputFile file(path);
  file.write(RecordedMotion::header(recording));
  RecordedMotion motion(recording, object);
  std::size_t rows = 0;
  std::string last;
  const auto write_last = [&] {
    file.write(last);
    rows += last.empty() ? 0U : 1U;
    last.clear();
  };
  for_each_call(recording, window, [&](const RecordedCall& call, bool) {
    const RecordedMotion::Row row = motion.add(call);
    if (row == RecordedMotion::Row::begun) write_last();
    if (row != RecordedMotion::Row::unchanged && motion.time() >= window.from) last = motion.row();
  });
  write_last();
  if (rows == 0) throw nothing_of(object, recording, window);
  file.commit();
  return fmt::format("{}, ", counted(rows, "row")) + wrote(path.named);
}

/// Writes the samples of an object as the module makes them, in a process of its own. Returns what there is to say.
std::string write_results(const std::filesystem::path& path, const ReplayOptions& options, std::uint32_t object,
                          const ResultsFile::Paths& to) {
  const auto outcome = apart([&](CallPosition& now) {
    const RecordingFile recording(path);
    ResultsFile file(to);
    const Module module(options.module);
    const auto add = [&](const RecordedSample& sample) {
      const auto column = file.add({*sample.robot, sample.time});
      if (!column) return;
      throw Error(
          fmt::format("{}: expected finite results, '{}' is not at {:.6f} s", path.string(), *column, sample.time));
    };
    RecordedSamples samples(recording, object, module, options.window.from, add);
    for_each_call(recording, options.window, [&](const RecordedCall& call, bool) {
      now = call.position();
      samples.add(call);
    });
    samples.end();
    if (samples.count() == 0) throw nothing_of(object, recording, options.window);
    file.describe(run_description(*make_system(module), nullptr, nullptr));
    file.commit();
    const std::string missing = fmt::format("; calls are missing in {}", counted(samples.gaps(), "place"));
    return fmt::format("{}{}, ", counted(samples.count(), "sample"), samples.gaps() > 0 ? missing : "") +
           wrote(file.path());
  });
  if (const Crash* crash = std::get_if<Crash>(&outcome)) {
    throw Error(fmt::format("{}: the module failed: {}: {}", path.string(), in_words(crash->call), crash->words));
  }
  return std::get<std::string>(outcome);
}

/// Does what was asked for with one recording, and adds to text and JSON. Returns whether a result differs.
bool replay_one(const std::filesystem::path& path, const ReplayOptions& options, Outputs& outputs, std::string& text,
                nlohmann::json& json) {
  ProgressLine progress(path.string());
  std::error_code no_size;
  const auto size = static_cast<double>(std::filesystem::file_size(path, no_size));
  const auto show_place = [&](const RecordedCall& call) { progress.show(static_cast<double>(call.offset) / size); };
  const auto claimed = [&](const auto& file) { return file ? std::optional(outputs.claim(*file)) : std::nullopt; };
  const auto cut_file = claimed(options.cut);
  const auto csv = claimed(options.csv);
  const auto results = options.results ? std::optional(ResultsFile::claim(*options.results, outputs)) : std::nullopt;
  if (options.looks_at_the_file_alone() || options.results) {
    const RecordingFile recording(path);
    Statistics statistics(recording);
    for_each_call(recording, options.window, [&](const RecordedCall& call, bool is_within) {
      show_place(call);
      statistics.add(call, is_within);
    });
    statistics.end();
    if (options.stats) {
      text += statistics.text();
      json.update(in_json(recording));
      json["statistics"] = statistics.json();
    }
    const std::uint32_t object = options.object != 0 ? options.object : statistics.busiest_object();
    if (csv) text += write_motion(recording, options.window, object, *csv);
    if (results) text += write_results(path, options, object, *results);
  }
  if (!options.compares()) return false;
  const Playback playback = play(path, options.module, options.window, options.verbose, show_place);
  text += playback.text;
  json.update(playback.json);
  if (cut_file && playback.first) {
    const std::size_t calls = cut(path, options.module, playback, *cut_file);
    // That the shorter one differs is a claim, too.
    const bool holds = play(*options.cut, options.module, {}).first.has_value();
    text += fmt::format("{}, ", counted(calls, "call")) + wrote(*options.cut);
    if (!holds) text += "the short recording shows no difference: something else must contribute to it\n";
    json["cut"] = {{"calls", calls}, {"differs", holds}};
  }
  return playback.first.has_value();
}

void replay(const ReplayOptions& options) {
  if (options.recordings.size() > 1 && (options.cut || options.csv || options.results)) {
    throw Error("--cut, --csv and --results take one recording");
  }
  if (options.window.from > options.window.to) {
    throw Error(
        fmt::format("--from {} --to {}: expected an end after the beginning", options.window.from, options.window.to));
  }
  Outputs outputs = outputs_beside(options.module);
  for (const std::filesystem::path& recording : options.recordings) outputs.keep(recording, "a recording");
  if (options.compares() || options.results) require_module_file(options.module);
  Destination destination;
  nlohmann::json all = nlohmann::json::array();
  bool differs = false;
  std::size_t unusable = 0;
  for (const std::filesystem::path& path : options.recordings) {
    std::string text;
    nlohmann::json json{{"recording", path.string()}};
    try {
      differs = replay_one(path, options, outputs, text, json) || differs;
    } catch (const Error& error) {
      // A process that was ended while it started leaves a file that is none. The others are worth something.
      if (options.recordings.size() == 1) throw;
      ++unusable;
      tell_error(error.what());
      json["error"] = error.what();
    }
    if (!options.json) destination.write_text((all.empty() ? "" : "\n") + text);
    all.push_back(std::move(json));
  }
  if (options.json) destination.write(json_text(nlohmann::json{{"recordings", all}}));
  destination.commit();
  if (unusable > 0) throw Error(fmt::format("{} of {} recordings are unusable", unusable, options.recordings.size()));
  if (differs) throw Findings();
}

}  // namespace

void add_replay(CLI::App& app) {
  CLI::App* command = app.add_subcommand("replay", "Replay recorded calls, compare results bit for bit");
  command->footer(
      R"(RECORDING is a file of libkorvel_record.so, which a program loads instead of
the module. Times are in seconds since the recording began. --stats and --csv
do not replay the calls; --results replays them without comparing. Exit status:
0 no difference, 1 a difference, 2 the command or a file is unusable.

Examples:
  korvel-host replay odd.rec
  korvel-host replay odd.rec --results results.csv)");
  const auto options = std::make_shared<ReplayOptions>();
  command->add_option("RECORDING", options->recordings, "Recordings")->required();
  command->add_option("--from", options->window.from, "Start comparing at this time [s]")
      ->check(any_number())
      ->type_name("T");
  command->add_option("--to", options->window.to, "Stop replaying at this time [s]")
      ->check(any_number())
      ->type_name("T");
  add_file_option(*command, "--cut", options->cut, "Write a short recording that reproduces the first difference");
  command->add_flag("--stats", options->stats,
                    "Print call counts, timing and misuse of the interface, without replaying");
  add_file_option(*command, "--csv", options->csv,
                  "Write the positions an object was set to, as a motion file for run");
  add_file_option(*command, "--results", options->results,
                  "Write the results the module computes from them, for report");
  command
      ->add_option("--object", options->object,
                   "Object number for --csv and --results (default: the one with most calls)")
      ->check(whole_number(1, std::numeric_limits<std::uint32_t>::max()))
      ->type_name("N");
  command->add_flag("-v,--verbose", options->verbose, "Print every operation, not only those with a difference");
  command->add_flag("--json", options->json, "Print JSON");
  add_module_option(*command, options->module);
  command->callback([options] { replay(*options); });
}

}  // namespace korvel::host
