#pragma once

#include <string>

namespace korvel::host {

/// Real-time properties that the system has granted to the thread.
struct RealTime {
  /// No page of the process leaves memory, and those that it has are there.
  bool memory_locked;
  /// The thread runs by SCHED_FIFO, before every thread of a lower priority.
  bool scheduled;
  /// One line with everything that was not granted and why; empty if all was.
  std::string not_granted;
};

/// Makes of the calling thread one of a controller, as far as it may be, until the process ends: memory locked,
/// SCHED_FIFO of this priority, 1 to 99, timers without slack, and 256 KiB of stack that is there.
RealTime become_real_time(int priority);

}  // namespace korvel::host
