#pragma once

#include <string>

#include "host/replay/recording_file.h"

namespace korvel::host {

/// As long as it lives, a module that crashes ends this process with a line that names the call, and with status 1: it
/// does otherwise than was recorded. One at a time.
class CrashWitness {
 public:
  explicit CrashWitness(const RecordingFile& recording);
  CrashWitness(const CrashWitness&) = delete;
  CrashWitness& operator=(const CrashWitness&) = delete;
  ~CrashWitness();

  /// The call that is about to be performed. Costs next to nothing.
  void about_to(const RecordedCall& call) noexcept;
};

}  // namespace korvel::host
