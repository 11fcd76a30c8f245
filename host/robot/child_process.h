#pragma once

#include <sys/types.h>

#include <string_view>

namespace korvel::host {

// For a module that may do whatever it likes to the process that loads it.

/// In a child, first: it ends with its parent, and leaves no core file if a module crashes.
void begin_child(pid_t parent);

/// All of it, or as much as the other side takes.
void send(int channel, std::string_view text);

/// Waits until the child has ended; how, in the form of `waitpid`.
int status_at_end(pid_t child);

}  // namespace korvel::host
