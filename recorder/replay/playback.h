#pragma once

#include <filesystem>
#include <functional>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <variant>

#include "host/process/output_file.h"
#include "recorder/replay/player.h"

namespace korvel::host {

/// An interval of a recording [s].
struct Window {
  double from = 0;
  double to = std::numeric_limits<double>::infinity();
};

/// Goes through the calls up to the end of a window: what comes before it is part of what happens in it.
template <typename Visit>
void for_each_call(const RecordingFile& recording, const Window& window, const Visit& visit) {
  recording.for_each([&](const RecordedCall& call) {
    if (call.time > window.to) return false;
    visit(call, call.time >= window.from);
    return true;
  });
}

/// Says that a recording has none of `what` in a window.
Error none_in(const RecordingFile& recording, const Window& window, const std::string& what);

/// Throws that Error if the recording has no call in the window.
void require_calls(const RecordingFile& recording, const Window& window);

/// A module has ended the process, or has thrown what no call may throw: in which call, and what, in words.
struct Crash {
  CallPosition call;
  std::string words;
};

/// Does in a process of its own what a module may crash. The task sets `now` to each call before it performs it, and
/// has no file of this process's. Throws the Error that it throws.
std::variant<std::string, Crash> apart(const std::function<std::string(CallPosition& now)>& task);

/// Outcome of playing a recording.
struct Playback {
  std::string text;
  nlohmann::json json;
  /// The call that first differs: where its record is in the file, and whether the module crashed in it.
  std::optional<std::uint64_t> first;
  bool has_crashed = false;
};

/// Plays a recording on a module, in a process of its own, and compares what is in the window. That process shows each
/// call to `on_call` first. Throws Error if the recording or the module is unusable. A crash is the first difference,
/// and the last. The text has a row for every operation, or for those with a difference alone.
Playback play(const std::filesystem::path& recording, const std::filesystem::path& module, const Window& window,
              bool shows_all_operations = false, const std::function<void(const RecordedCall&)>& on_call = {});

/// Plays it once more and writes the calls that the first difference comes from as a recording. Returns how many.
std::size_t cut(const std::filesystem::path& recording, const std::filesystem::path& module, const Playback& playback,
                const OutputPath& to);

/// Writes the calls in a window as a recording. Returns how many.
std::size_t cut(const std::filesystem::path& recording, const std::filesystem::path& module, const Window& window,
                const OutputPath& to);

/// Writes a recording of one object with a call and all calls that its result comes from: the last ones that set its
/// inputs, and the computations in between. Returns how many calls that are. Throws Error.
std::size_t write_slice(const RecordingFile& recording, const Source& last, OutputFile& file);

/// Writes a recording of the calls in a window, with their numbers and times. It begins with the inputs of the objects
/// that were made before, as a block does. The module plays the calls before the window. Returns how many calls are in
/// it. Throws Error.
std::size_t write_window(const RecordingFile& recording, const Module& module, const Window& window, OutputFile& file);

}  // namespace korvel::host
