#include <fmt/format.h>

#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/io/error.h"
#include "host/io/output_file.h"
#include "host/replay/apart.h"
#include "host/replay/playback.h"
#include "host/replay/recorded_motion.h"
#include "host/replay/recorded_samples.h"
#include "host/replay/statistics.h"
#include "host/replay/words.h"
#include "host/report/node_script.h"
#include "host/results/columns.h"
#include "host/robot/trial.h"

namespace korvel::host {

namespace {

struct ReplayOptions {
  std::filesystem::path module = default_module();
  std::vector<std::filesystem::path> recordings;
  Window window;
  std::optional<std::filesystem::path> cut, csv, results, mcap;
  std::uint32_t object = 0;
  bool stats = false;
  bool json = false;

  bool looks_at_the_file_alone() const { return stats || csv; }
  bool takes_samples() const { return results || mcap; }
  bool compares() const { return cut || !(looks_at_the_file_alone() || takes_samples()); }
};

Error nothing_of_the_object(const RecordingFile& recording) {
  return Error(recording.path().string() + ": no computation of that object is recorded");
}

/// What an object was set to. Returns what there is to say of it, as the others do.
std::string write_motion(const RecordingFile& recording, const Window& window, std::uint32_t object,
                         const OutputPath& path) {
  OutputFile file(path);
  file.write(RecordedMotion::header(recording));
  RecordedMotion motion(recording, object);
  std::size_t rows = 0;
  for_each_call(recording, window, [&](const RecordedCall& call, bool is_within) {
    if (!motion.add(call) || !is_within) return;
    file.write(motion.row());
    ++rows;
  });
  if (rows == 0) throw nothing_of_the_object(recording);
  file.commit();
  return fmt::format("{} rows in {}\n", rows, path.named().string());
}

/// Hands over the samples of an object as the module makes them, in a process of its own. Returns what there is to say.
template <typename File>
std::string write_samples(const std::filesystem::path& path, const ReplayOptions& options, std::uint32_t object,
                          const OutputPath& to) {
  const auto outcome = apart([&](Place& now) {
    const RecordingFile recording(path);
    File file(recording, to);
    RecordedSamples samples(recording, object, Module(options.module), options.window.from,
                            [&](const RecordedSample& sample) { file.add(sample); });
    for_each_call(recording, options.window, [&](const RecordedCall& call, bool) {
      now = call.place();
      samples.add(call);
    });
    samples.end();
    if (samples.count() == 0) throw nothing_of_the_object(recording);
    file.commit();
    const std::string missing = fmt::format("; calls are missing in {} places", samples.gaps());
    return fmt::format("{} samples in {}{}\n", samples.count(), to.named().string(), samples.gaps() > 0 ? missing : "");
  });
  if (const Crash* crash = std::get_if<Crash>(&outcome)) {
    throw Error(fmt::format("{}: the module failed: {}: {}", path.string(), in_words(crash->call), crash->words));
  }
  return std::get<std::string>(outcome);
}

/// As results of a run.
class ResultsFile {
 public:
  ResultsFile(const RecordingFile& recording, const OutputPath& path) : recording_(recording), file_(path) {}

  void add(const RecordedSample& sample) {
    const Subject robot{*sample.robot};
    if (!std::exchange(has_header_, true)) file_.write(results_header(robot));
    const Row row = results_row({robot, sample.time});
    if (const auto column = row.first_not_finite()) {
      throw Error(fmt::format("{}: expected finite results, '{}' is not at {:.6f} s", recording_.path().string(),
                              results_columns(robot)[*column], sample.time));
    }
    file_.write(row.line());
  }
  void commit() { file_.commit(); }

 private:
  const RecordingFile& recording_;
  OutputFile file_;
  bool has_header_ = false;
};

/// As MCAP, by the script.
class McapFile {
 public:
  McapFile(const RecordingFile& recording, const OutputPath& path)
      : start_(recording.header().start.unix_ns), file_(path), script_(mcap_script(), file_) {
    script_.write(fmt::format("{}\n{}\n", fmt::join(recording.joints(), ","), fmt::join(recording.bodies(), ",")));
  }

  void add(const RecordedSample& sample) { script_.write(line_of_numbers(sample, start_)); }
  void commit() {
    script_.finish();
    file_.commit();
  }

 private:
  std::int64_t start_;
  OutputFile file_;
  NodeScript script_;
};

/// The files that are written, if they were asked for.
struct ReplayOutputs {
  std::optional<OutputPath> cut, csv, results, mcap;

  ReplayOutputs(const ReplayOptions& options, Outputs& outputs) {
    if (options.cut) cut = outputs.claim(*options.cut);
    if (options.csv) csv = outputs.claim(*options.csv);
    if (options.results) results = outputs.claim(*options.results);
    if (options.mcap) mcap = outputs.claim(*options.mcap);
  }
};

/// What was asked for of one recording, as text and as JSON. True if it differs.
bool replay_one(const std::filesystem::path& path, const ReplayOptions& options, const ReplayOutputs& outputs,
                std::string& text, nlohmann::json& json) {
  if (options.looks_at_the_file_alone() || options.takes_samples()) {
    const RecordingFile recording(path);
    Statistics statistics(recording);
    for_each_call(recording, options.window,
                  [&](const RecordedCall& call, bool is_within) { statistics.add(call, is_within); });
    statistics.end();
    if (options.stats) {
      text += statistics.text();
      json.update(in_json(recording));
      json["statistics"] = statistics.json();
    }
    const std::uint32_t object = options.object != 0 ? options.object : statistics.busiest_object();
    if (outputs.csv) text += write_motion(recording, options.window, object, *outputs.csv);
    if (outputs.results) text += write_samples<ResultsFile>(path, options, object, *outputs.results);
    if (outputs.mcap) text += write_samples<McapFile>(path, options, object, *outputs.mcap);
  }
  if (!options.compares()) return false;
  const Playback playback = play(path, options.module, options.window);
  text += playback.text;
  json.update(playback.json);
  if (outputs.cut && playback.first) {
    const std::size_t calls = cut(path, options.module, playback, *outputs.cut);
    // That the shorter one differs is a claim, too.
    const bool holds = play(*options.cut, options.module, {}).first.has_value();
    text += fmt::format("{} calls in {}{}\n", calls, options.cut->string(),
                        holds ? "" : ", in which nothing differs: something else must be part of it");
    json["cut"] = {{"calls", calls}, {"differs", holds}};
  }
  return playback.first.has_value();
}

void replay(const ReplayOptions& options) {
  if (options.recordings.size() > 1 && (options.cut || options.csv || options.results || options.mcap)) {
    throw Error("--cut, --csv, --results and --mcap take one recording");
  }
  if (options.window.from > options.window.to) {
    throw Error(
        fmt::format("--from {} --to {}: expected an end after the beginning", options.window.from, options.window.to));
  }
  Outputs outputs = outputs_beside(options.module);
  for (const std::filesystem::path& recording : options.recordings) outputs.keep(recording, "a recording");
  const ReplayOutputs files(options, outputs);
  if (options.mcap && !std::filesystem::exists(mcap_script())) {
    throw Error("--mcap: its script was not built, install nodejs and npm and build korvel again");
  }
  if (options.compares() || options.takes_samples()) tried_module(options.module);
  Destination destination({}, outputs);
  nlohmann::json all = nlohmann::json::array();
  bool differs = false;
  std::size_t unusable = 0;
  for (const std::filesystem::path& path : options.recordings) {
    std::string text;
    nlohmann::json json{{"recording", path.string()}};
    try {
      differs = replay_one(path, options, files, text, json) || differs;
    } catch (const Error& error) {
      // A process that was ended while it started leaves a file that is none. The others are worth something.
      if (options.recordings.size() == 1) throw;
      ++unusable;
      tell(error.what());
      json["error"] = error.what();
    }
    if (!options.json) destination.write_text(text);
    all.push_back(std::move(json));
  }
  if (options.json) {
    destination.write(json_text(nlohmann::json{{"recordings", all}}));
  }
  destination.commit();
  if (unusable > 0) throw Error(fmt::format("{} of {} recordings are unusable", unusable, options.recordings.size()));
  if (differs) throw Findings();
}

}  // namespace

void add_replay(CLI::App& app) {
  CLI::App* command = app.add_subcommand("replay", "Perform again what a host was recorded to have called");
  command->footer(
      "RECORDING is a file that the recorder has written, libkorvel_record.so, which a host loads in the place of the\n"
      "module. Every result is compared to the bit, but for the sign of zeros. Exit status: 0 if nothing differs, 1 "
      "if\n"
      "something does, 2 if the command or a file is unusable. With --stats or --csv the calls are not performed,\n"
      "with --results or --mcap they are, and not compared.");
  const auto options = std::make_shared<ReplayOptions>();
  command->add_option("RECORDING", options->recordings, "Recordings, one after the other")->required();
  command->add_option("--from", options->window.from, "Compare from this time on [s]")
      ->check(any_number())
      ->type_name("T");
  command->add_option("--to", options->window.to, "Perform up to this time [s]")->check(any_number())->type_name("T");
  command->add_option("--cut", options->cut, "Write the calls that the first difference comes from, as a recording")
      ->type_name("FILE");
  command->add_flag("--stats", options->stats, "How often, how long, and what the interface does not allow");
  command->add_option("--csv", options->csv, "Write what an object was set to as a motion, for run")->type_name("FILE");
  command
      ->add_option("--results", options->results,
                   "Write what it makes of that, with the rates and wrenches that were set, as results, for report")
      ->type_name("FILE");
  command->add_option("--mcap", options->mcap, "Write it with poses and torques as MCAP, for viewers; needs node")
      ->type_name("FILE");
  command->add_option("--object", options->object, "Of this object; by default of that with the most calls")
      ->check(whole_number(1, std::numeric_limits<std::uint32_t>::max()));
  command->add_flag("--json", options->json, "As JSON");
  add_module_option(*command, options->module);
  command->callback([options] { replay(*options); });
}

}  // namespace korvel::host
