#pragma once

#include "host/process/output_file.h"
#include "recorder/replay/playback.h"
#include "recorder/replay/player.h"

namespace korvel::host {

/// Writes a recording of one object with a call and all calls that its result comes from: the last ones that set its
/// inputs, and the computations in between. Returns how many calls that are. Throws Error.
std::size_t write_slice(const RecordingFile& recording, const Source& last, OutputFile& file);

/// Writes a recording of the calls in a window, with their numbers and times. It begins with the inputs of the objects
/// that were made before, as a block does. The module plays the calls before the window. Returns how many calls are in
/// it. Throws Error.
std::size_t write_window(const RecordingFile& recording, const Module& module, const Window& window, OutputFile& file);

}  // namespace korvel::host
