#include <fmt/format.h>

#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/process/output_file.h"
#include "host/robot/description.h"
#include "host/robot/module.h"
#include "host/run/results_file.h"
#include "motion/csv/error.h"
#include "motion/csv/printable.h"
#include "recorder/replay/playback.h"
#include "recorder/replay/recorded_motion.h"
#include "recorder/replay/statistics.h"
#include "recorder/replay/words.h"

namespace korvel::host {

namespace {

struct ReplayOptions {
  std::filesystem::path module = default_module();
  std::vector<std::filesystem::path> recordings;
  std::optional<double> from, to;
  std::optional<std::filesystem::path> cut, csv, results;
  std::uint32_t object = 0;
  bool stats = false;
  bool json = false;
  bool verbose = false;

  Window window() const { return {from.value_or(Window().from), to.value_or(Window().to)}; }
  bool cuts_part() const { return cut && (from || to); }
  bool takes_object() const { return csv || results; }
  bool compares() const { return cut ? !cuts_part() : !(stats || takes_object()); }
};

/// Says how many intervals of samples with NaN or infinity there are, and which call brought the first.
std::string gaps_in_words(const nlohmann::json& gaps) {
  if (gaps.empty()) return {};
  const nlohmann::json& first = gaps.front();
  return fmt::format("NaN or infinity in {}; the first is from {:.6f} s to {:.6f} s, brought by\n  {}\n",
                     counted(gaps.size(), "gap"), first["from"].get<double>(), first["to"].get<double>(),
                     first["call"].get<std::string>());
}

/// "9 rows, wrote FILE, 1.2 MB\n".
std::string wrote_counted(std::size_t count, const char* noun, const std::filesystem::path& file) {
  return fmt::format("{}, ", counted(count, noun)) + wrote(file);
}

std::string computation_of(std::uint32_t object) { return fmt::format("computation of object {}", object); }

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
  if (rows == 0) throw none_in(recording, window, computation_of(object));
  file.commit();
  return wrote_counted(rows, "row", path.named);
}

/// Writes the samples of an object as the module makes them, in a process of its own. Returns what there is to say.
std::string write_results(const std::filesystem::path& path, const ReplayOptions& options, std::uint32_t object,
                          const ResultsFile::Paths& to) {
  const auto outcome = apart([&](CallPosition& now) {
    const RecordingFile recording(path);
    ResultsFile file(to);
    const Module module(options.module);
    nlohmann::json gaps = nlohmann::json::array();
    bool is_in_gap = false;
    const auto add = [&](const RecordedSample& sample) {
      const bool is_finite = !file.add({*sample.robot, sample.time, nullptr, nullptr, &sample.wrenches});
      const bool was_in_gap = std::exchange(is_in_gap, !is_finite);
      if (is_finite) return;
      const NamedCall& call = sample.brought_by;
      const std::string words = fmt::format("{}, {}", call.operation, in_words(call.at));
      if (!was_in_gap) gaps.push_back({{"from", sample.time}, {"call", words}});
      gaps.back()["to"] = sample.time;
    };
    RecordedSamples samples(recording, object, module, options.window(), add);
    for_each_call(recording, options.window(), [&](const RecordedCall& call, bool) {
      now = call.position();
      samples.add(call);
    });
    samples.end();
    if (samples.count() == 0) throw none_in(recording, options.window(), computation_of(object));
    nlohmann::json description = run_description(*make_system(module), nullptr);
    description["gaps"] = gaps;
    file.describe(description);
    file.commit();
    const std::string missing = fmt::format("; calls are missing in {}", counted(samples.gaps(), "place"));
    return fmt::format("{}{}, ", counted(samples.count(), "sample"), samples.gaps() > 0 ? missing : "") +
           wrote(file.path()) + gaps_in_words(gaps);
  });
  if (const Crash* crash = std::get_if<Crash>(&outcome)) {
    throw Error("{}: the module failed: {}: {}", path.string(), in_words(crash->call), crash->words);
  }
  return std::get<std::string>(outcome);
}

/// Counts the calls of a recording in a window, and shows each.
template <typename Show>
Statistics statistics_of(const RecordingFile& recording, const Window& window, const Show& show) {
  Statistics statistics(recording);
  for_each_call(recording, window, [&](const RecordedCall& call, bool is_within) {
    show(call);
    statistics.add(call, is_within);
  });
  statistics.end();
  return statistics;
}

/// Writes the first difference, if there is one. Returns what there is to say.
std::string write_difference(const std::filesystem::path& path, const ReplayOptions& options, const Playback& playback,
                             const OutputPath& to, nlohmann::json& json) {
  if (!playback.first) {
    json = {{"calls", 0}};
    return fmt::format("did not write {}: no result differs; --from and --to cut a part\n", to.named.string());
  }
  const std::size_t calls = cut(path, options.module, playback, to);
  // The shorter recording must differ, too.
  const bool holds = play(to.named, options.module, {}).first.has_value();
  json = {{"calls", calls}, {"differs", holds}};
  return wrote_counted(calls, "call", to.named) +
         (holds ? "" : "the short recording shows no difference: something else must contribute to it\n");
}

/// Does what was asked for with one recording, and adds to text and JSON. Returns whether a result differs, or a
/// difference that was to be cut does not exist.
bool replay_one(const std::filesystem::path& path, const ReplayOptions& options, Outputs& outputs, std::string& text,
                nlohmann::json& json) {
  ProgressLine progress(path.string());
  std::error_code no_size;
  const auto size = static_cast<double>(std::filesystem::file_size(path, no_size));
  const auto show_place = [&](const RecordedCall& call) { progress.show(static_cast<double>(call.offset) / size); };
  const auto claimed = [&](const auto& file) { return file ? std::optional(outputs.claim(*file)) : std::nullopt; };
  const Window window = options.window();
  const auto cut_file = claimed(options.cut);
  const auto csv = claimed(options.csv);
  const auto results = options.results ? std::optional(ResultsFile::claim(*options.results, outputs)) : std::nullopt;
  if (options.from || options.to) require_calls(RecordingFile(path), window);
  if (options.stats || options.takes_object()) {
    const RecordingFile recording(path);
    const Statistics statistics = statistics_of(recording, window, show_place);
    if (options.stats) {
      text += statistics.text();
      json.update(in_json(recording));
      json["statistics"] = statistics.json();
    }
    const std::uint32_t object = statistics.object(options.object).first;
    if (csv) text += write_motion(recording, window, object, *csv);
    if (results) text += write_results(path, options, object, *results);
  }
  if (options.cuts_part()) {
    const std::size_t calls = cut(path, options.module, window, *cut_file);
    json["cut"] = {{"calls", calls}};
    text += wrote_counted(calls, "call", cut_file->named);
  }
  if (!options.compares()) return false;
  const Playback playback = play(path, options.module, window, options.verbose, show_place);
  text += playback.text;
  json.update(playback.json);
  if (cut_file) text += write_difference(path, options, playback, *cut_file, json["cut"]);
  return playback.first.has_value() || cut_file;
}

/// Finds, among several recordings, the one whose object has the most calls, and counts those that are unusable.
std::filesystem::path busiest(const ReplayOptions& options, std::size_t& unusable) {
  std::filesystem::path taken;
  std::pair<std::uint32_t, std::size_t> most;
  for (const std::filesystem::path& path : options.recordings) {
    try {
      const RecordingFile recording(path);
      const auto found = statistics_of(recording, options.window(), [](const RecordedCall&) {}).object(options.object);
      if (found.second <= most.second) continue;
      taken = path;
      most = found;
    } catch (const Error& error) {
      ++unusable;
      tell("error", error.what());
    }
  }
  if (taken.empty()) {
    const std::string object = options.object != 0 ? fmt::format(" of object {}", options.object) : "";
    throw Error("no call{} is recorded in {} recordings", object, options.recordings.size());
  }
  tell("note", fmt::format("taking {} of {} recordings: its object {} has the most calls, {}", taken.string(),
                           options.recordings.size(), most.first, most.second));
  return taken;
}

/// Throws Error if the busiest recording is not enough: the first difference may be in any, and statistics are of all.
void require_one_recording(const ReplayOptions& options) {
  const char* asked = options.stats        ? "--stats with --cut, --csv or --results"
                      : options.compares() ? "--cut without --from or --to"
                                           : nullptr;
  if (asked == nullptr) return;
  throw Error("{}: expected one recording, found {}", asked, options.recordings.size());
}

void replay(ReplayOptions& options) {
  const Window window = options.window();
  if (!(window.from < window.to)) {
    throw Error("--from {} --to {}: expected an end after the beginning", window.from, window.to);
  }
  Outputs outputs = outputs_beside(options.module);
  for (const std::filesystem::path& recording : options.recordings) outputs.keep(recording, "a recording");
  if (options.compares() || options.results || options.cut) require_module_file(options.module);
  const std::size_t given = options.recordings.size();
  std::size_t unusable = 0;
  if (given > 1 && (options.cut || options.takes_object())) {
    require_one_recording(options);
    options.recordings = {busiest(options, unusable)};
  }
  Destination destination;
  nlohmann::json all = nlohmann::json::array();
  bool differs = false;
  for (const std::filesystem::path& path : options.recordings) {
    std::string text;
    nlohmann::json json{{"recording", path.string()}};
    try {
      differs = replay_one(path, options, outputs, text, json) || differs;
    } catch (const Error& error) {
      // A process that was ended while it started leaves a file that is none. The others are worth something.
      if (options.recordings.size() == 1) throw;
      ++unusable;
      tell("error", error.what());
      json["error"] = error.what();
    }
    if (!options.json) destination.write_text((all.empty() ? "" : "\n") + text);
    all.push_back(std::move(json));
  }
  if (options.json) destination.write(json_text(nlohmann::json{{"recordings", all}}));
  destination.commit();
  if (unusable > 0) throw Error("{} of {} recordings are unusable", unusable, given);
  if (differs) throw Findings();
}

}  // namespace

void add_replay(CLI::App& app) {
  CLI::App* command = app.add_subcommand("replay", "Replay recorded calls, compare results bit for bit");
  command->footer(
      R"(RECORDING is a file of libkorvel_record.so, which a program loads instead of
the module. Times are in seconds since the recording began. --stats and --csv
do not replay the calls; --results replays them without comparing. Of several
files, --csv, --results and --cut with times take the one whose object has the
most calls.
Exit status: 0 no difference, 1 a difference, 2 the command or a file is
unusable. Without a difference, --cut without times writes no file and ends with
status 1, too.

Examples:
  korvel-host replay fall.rec
  korvel-host replay fall.rec --results results.csv
  korvel-host replay fall.rec --cut part.rec --from 2.5 --to 4)");
  const auto options = std::make_shared<ReplayOptions>();
  command->add_option("RECORDING", options->recordings, "Recordings")->required();
  add_number_option(*command, "--from", options->from, "Start comparing at this time [s]", any_number(), "T");
  add_number_option(*command, "--to", options->to, "Stop replaying at this time [s]", any_number(), "T");
  add_file_option(*command, "--cut", options->cut,
                  "Write a short recording that reproduces the first difference, or the part from --from to --to");
  command->add_flag("--stats", options->stats,
                    "Print call counts, timing and misuse of the interface, without replaying");
  add_file_option(*command, "--csv", options->csv,
                  "Write the positions that the program set, as a motion file for run");
  add_file_option(*command, "--results", options->results,
                  "Write the results the module computes from the recorded inputs, for report");
  add_number_option(*command, "--object", options->object,
                    "Object number for --csv and --results (default: the one with most calls)",
                    whole_number(1, std::numeric_limits<std::uint32_t>::max()))
      ->default_str("");
  command->add_flag("-v,--verbose", options->verbose, "Print every operation, not only those with a difference");
  command->add_flag("--json", options->json, "Print JSON");
  add_module_option(*command, options->module);
  command->callback([options] { replay(*options); });
}

}  // namespace korvel::host
