#include <fmt/format.h>

#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/io/error.h"
#include "host/io/output_file.h"
#include "host/replay/node_script.h"
#include "host/replay/player.h"
#include "host/replay/recorded_motion.h"
#include "host/replay/recorded_samples.h"
#include "host/replay/slice.h"
#include "host/replay/statistics.h"
#include "host/replay/words.h"
#include "host/robot/trial.h"

namespace korvel::host {

namespace {

struct ReplayOptions {
  std::filesystem::path module = default_module();
  std::vector<std::filesystem::path> recordings;
  double from = 0;
  double to = std::numeric_limits<double>::infinity();
  std::optional<std::filesystem::path> cut, csv, mcap;
  std::uint32_t object = 0;
  bool stats = false;
  bool json = false;
};

/// What playing a recording has come to.
struct Playback {
  std::optional<Difference> first;
  std::array<Played, recording::operation_count> played{};
  std::size_t not_performed = 0, not_comparable = 0, gaps = 0;
  std::string last_call;  ///< one that did not return

  Played sum() const {
    Played all;
    for (const Played& p : played) {
      all.calls += p.calls;
      all.compared += p.compared;
      all.different += p.different;
    }
    return all;
  }
};

Playback play(const RecordingFile& recording, const ReplayOptions& options) {
  Playback result;
  // The module anew for each recording: its inertias are those that it was built with.
  Player player(recording, Module(options.module));
  recording.for_each([&](const RecordedCall& call) {
    if (call.time > options.to) return false;
    std::optional<Difference> difference = player.play(call, call.time >= options.from);
    if (difference && !result.first) result.first = std::move(difference);
    if (!call.has_returned()) result.last_call = in_words(call.place()) + ": " + call_in_words(recording, call);
    return true;
  });
  result.played = player.played();
  result.not_performed = player.not_performed();
  result.not_comparable = player.not_comparable();
  result.gaps = player.gaps();
  return result;
}

/// The calls that the first difference comes from, as a recording. Returns how many.
std::size_t cut(const RecordingFile& recording, const ReplayOptions& options, OutputFile& file) {
  Slicer slicer(recording);
  Player player(recording, Module(options.module), &slicer);
  std::size_t calls = 0;
  recording.for_each([&](const RecordedCall& call) {
    if (!player.play(call, call.time >= options.from)) return true;
    calls = slicer.write_last(file);
    return false;
  });
  file.commit();
  return calls;
}

Error nothing_of_the_object(const RecordingFile& recording) {
  return Error(recording.path().string() + ": no computation of that object is recorded");
}

/// The samples of an object. Returns what there is to say of them.
std::string write_mcap(const RecordingFile& recording, const ReplayOptions& options, std::uint32_t object,
                       OutputFile& file) {
  NodeScript script(mcap_script(), file);
  script.write(fmt::format("{}\n{}\n", fmt::join(recording.joints(), ","), fmt::join(recording.bodies(), ",")));
  RecordedSamples samples(recording, object, Module(options.module), options.from,
                          [&](const std::string& line) { script.write(line); });
  recording.for_each([&](const RecordedCall& call) {
    if (call.time > options.to) return false;
    samples.add(call);
    return true;
  });
  samples.end();
  if (samples.count() == 0) throw nothing_of_the_object(recording);
  script.finish();
  file.commit();
  const std::string missing = fmt::format("; calls are missing in {} places", samples.gaps());
  return fmt::format("{} samples in {}{}\n", samples.count(), options.mcap->string(),
                     samples.gaps() > 0 ? missing : "");
}

nlohmann::json json_of(const RecordingFile& recording, const Playback& playback) {
  nlohmann::json operations = nlohmann::json::object();
  for (std::size_t i = 0; i < playback.played.size(); ++i) {
    const Played& p = playback.played[i];
    if (p.calls == 0) continue;
    operations[recording::all_operations()[i].name] = {
        {"calls", p.calls}, {"compared", p.compared}, {"different", p.different}};
  }
  nlohmann::json json{{"recording", recording.path().string()},
                      {"recorded_version", recording.module_version()},
                      {"recorded_build_id", recording.build_id()},
                      {"ended", recording.ended()},
                      {"blocks_left_out", recording.blocks_left_out()},
                      {"gaps", playback.gaps},
                      {"not_performed", playback.not_performed},
                      {"not_comparable", playback.not_comparable},
                      {"operations", operations}};
  if (playback.first) {
    const Difference& d = *playback.first;
    json["first_difference"] = {{"where", d.where}, {"call", d.call}, {"inputs", d.inputs}, {"results", d.results}};
  }
  return json;
}

std::string text_of(const RecordingFile& recording, const Playback& playback) {
  std::string text = fmt::format("{}: recorded with version {}, build {}\n", recording.path().string(),
                                 recording.module_version(), recording.build_id());
  if (!recording.ended()) text += "the recording was not ended: the process was, or is still running\n";
  if (recording.blocks_left_out() > 0) text += fmt::format("{} blocks are not whole\n", recording.blocks_left_out());
  if (!playback.last_call.empty()) text += fmt::format("did not return: {}\n", playback.last_call);
  if (playback.gaps > 0) {
    text += fmt::format("calls are missing in {} places; {} results could not be compared\n", playback.gaps,
                        playback.not_comparable);
  }
  if (playback.not_performed > 0) {
    text += fmt::format("{} calls that the contract does not allow or that did not return were not performed\n",
                        playback.not_performed);
  }
  if (playback.first) {
    const Difference& d = *playback.first;
    text += fmt::format("\nFirst difference: {}\n{}\n{}\n\n{}\n", d.where, d.call, d.results, d.inputs);
  }
  text += fmt::format("{:<34}{:>12}{:>12}{:>12}\n", "operation", "calls", "compared", "different");
  for (std::size_t i = 0; i < playback.played.size(); ++i) {
    const Played& p = playback.played[i];
    if (p.calls == 0) continue;
    text += fmt::format("{:<34}{:>12}{:>12}{:>12}\n", recording::all_operations()[i].name, p.calls, p.compared,
                        p.different);
  }
  const Played all = playback.sum();
  return text + fmt::format("{} calls, {} results compared, {}\n", all.calls, all.compared,
                            all.different == 0 ? "no difference" : fmt::format("{} differ", all.different));
}

void replay(const ReplayOptions& options) {
  if (options.recordings.size() > 1 && (options.cut || options.csv || options.mcap)) {
    throw Error("--cut, --csv and --mcap take one recording");
  }
  Outputs outputs = outputs_beside(options.module);
  for (const std::filesystem::path& recording : options.recordings) outputs.keep(recording, "a recording");
  std::optional<OutputPath> cut_to, csv_to, mcap_to;
  if (options.cut) cut_to = outputs.claim(*options.cut);
  if (options.csv) csv_to = outputs.claim(*options.csv);
  if (options.mcap) mcap_to = outputs.claim(*options.mcap);
  if (options.mcap && !std::filesystem::exists(mcap_script())) {
    throw Error("--mcap: its script was not built, install nodejs and npm and build korvel again");
  }
  // What the file alone tells needs no module.
  const bool plays = options.cut || (!options.stats && !options.csv && !options.mcap);
  if (plays || options.mcap) tried_module(options.module);
  Destination destination({}, outputs);
  nlohmann::json all = nlohmann::json::array();
  bool differs = false;
  const auto write = [&](const std::string& text) {
    if (!options.json) destination.write_text(text);
  };
  for (const std::filesystem::path& path : options.recordings) {
    const RecordingFile recording(path);
    nlohmann::json json{{"recording", path.string()}};
    if (options.stats || options.csv || options.mcap) {
      Statistics statistics(recording);
      recording.for_each([&](const RecordedCall& call) {
        if (call.time > options.to) return false;
        statistics.add(call, call.time >= options.from);
        return true;
      });
      statistics.end();
      if (options.stats) {
        write(statistics.text());
        json["statistics"] = statistics.json();
      }
      const std::uint32_t object = options.object != 0 ? options.object : statistics.busiest_object();
      if (options.csv) {
        OutputFile file(*csv_to);
        file.write(RecordedMotion::header(recording));
        RecordedMotion motion(recording, object);
        std::size_t rows = 0;
        recording.for_each([&](const RecordedCall& call) {
          if (call.time > options.to) return false;
          if (!motion.add(call) || call.time < options.from) return true;
          file.write(motion.row());
          ++rows;
          return true;
        });
        if (rows == 0) throw nothing_of_the_object(recording);
        file.commit();
        write(fmt::format("{} rows in {}\n", rows, options.csv->string()));
      }
      if (options.mcap) {
        OutputFile file(*mcap_to);
        write(write_mcap(recording, options, object, file));
      }
    }
    if (plays) {
      const Playback playback = play(recording, options);
      write(text_of(recording, playback));
      json.update(json_of(recording, playback));
      differs = differs || playback.first;
      if (options.cut && playback.first) {
        OutputFile file(*cut_to);
        const std::size_t calls = cut(recording, options, file);
        // That the shorter one differs is a claim, too.
        const bool holds = play(RecordingFile(*options.cut), options).first.has_value();
        write(fmt::format("{} calls in {}{}\n", calls, options.cut->string(),
                          holds ? "" : ", in which nothing differs: something else must be part of it"));
        json["cut"] = {{"calls", calls}, {"differs", holds}};
      }
    }
    all.push_back(std::move(json));
  }
  if (options.json) {
    destination.write(json_text(nlohmann::json{{"recordings", all}}));
  }
  destination.commit();
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
      "with --mcap they are, and not compared.");
  const auto options = std::make_shared<ReplayOptions>();
  command->add_option("RECORDING", options->recordings, "Recordings, one after the other")->required();
  command->add_option("--from", options->from, "Compare from this time on [s]")->check(any_number())->type_name("T");
  command->add_option("--to", options->to, "Perform up to this time [s]")->check(any_number())->type_name("T");
  command->add_option("--cut", options->cut, "Write the calls that the first difference comes from, as a recording")
      ->type_name("FILE");
  command->add_flag("--stats", options->stats, "How often, how long, and what the interface does not allow");
  command->add_option("--csv", options->csv, "Write what an object was set to as a motion, for run")->type_name("FILE");
  command->add_option("--mcap", options->mcap, "Write it with poses and torques as MCAP, for viewers; needs node")
      ->type_name("FILE");
  command->add_option("--object", options->object, "Of this object; by default of that with the most calls")
      ->check(whole_number(1, std::numeric_limits<std::uint32_t>::max()));
  command->add_flag("--json", options->json, "As JSON");
  add_module_option(*command, options->module);
  command->callback([options] { replay(*options); });
}

}  // namespace korvel::host
