#pragma once

#include <limits>
#include <nlohmann/json.hpp>

#include "host/replay/player.h"
#include "host/replay/slice.h"

namespace korvel::host {

/// A stretch of a recording [s].
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

/// What playing a recording has come to.
struct Playback {
  std::optional<Difference> first;
  std::array<Played, recording::operation_count> played{};
  std::size_t not_performed = 0, not_comparable = 0, gaps = 0;
  std::string last_call;  ///< one that did not return

  Played sum() const;
};

/// Plays it on a module that is loaded anew, for its inertias are to be those that it was built with. Compares what is
/// in the window. `slicer` keeps the calls that the first difference comes from. A crash ends the process with the call.
Playback play(const RecordingFile& recording, const std::filesystem::path& module, const Window& window,
              Slicer* slicer = nullptr);

std::string in_words(const RecordingFile& recording, const Playback& playback);
nlohmann::json in_json(const RecordingFile& recording, const Playback& playback);

}  // namespace korvel::host
