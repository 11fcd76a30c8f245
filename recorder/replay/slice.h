#pragma once

#include "host/process/output_file.h"
#include "recorder/replay/provenance.h"

namespace korvel::host {

/// Writes a recording of one object with a call and all calls that its result comes from: the last ones that set its
/// inputs, and the computations in between. Returns how many calls that are. Throws Error.
std::size_t write_slice(const RecordingFile& recording, const Source& last, OutputFile& file);

}  // namespace korvel::host
