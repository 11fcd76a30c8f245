#pragma once

#include <functional>
#include <string>
#include <variant>

#include "recorder/replay/recording_file.h"

namespace korvel::host {

/// A module has ended the process, or has thrown what no call may throw: in which call, and what, in words.
struct Crash {
  CallPosition call;
  std::string words;
};

/// Does in a process of its own what a module may crash. The task sets `now` to each call before it performs it, and
/// has no file of this process's. Throws the Error that it throws.
std::variant<std::string, Crash> apart(const std::function<std::string(CallPosition& now)>& task);

}  // namespace korvel::host
