#pragma once

#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>

#include "host/timing/time_histogram.h"
#include "plugin/rigid_body_system.h"

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
/// SCHED_FIFO of this priority, 1 to 99, timers without slack, and 256 KiB of stack in memory.
RealTime become_real_time(int priority);

struct LoopOptions {
  std::chrono::nanoseconds period;  ///< positive
  std::uint64_t cycles;
  std::uint64_t seed = 1;  ///< of the states
};

/// Times of the cycles of a control loop on the wall clock: whatever interrupts the computation counts as
/// computation. Cycles are known by the number of the instant at which they were to wake up, from 0; they are a period
/// apart.
struct LoopReport {
  using Times = TimeHistogram<std::uint64_t>;

  Times computing;         ///< from waking up to the last result
  Times latency;           ///< from the instant that was asked for to waking up
  Times both;              ///< from that instant to the last result
  std::uint64_t late = 0;  ///< cycles of which `both` exceeded the period
  /// Late cycles that woke up at least a period late, and that computed for longer than a period; one may be both or
  /// none.
  std::uint64_t late_by_latency = 0, late_by_computing = 0;
  std::uint64_t skipped = 0;  ///< instants that had passed when a late cycle ended, and got no cycle
  // Counters of the thread during the loop.
  long minor_faults = 0, major_faults = 0;                ///< pages that were made there, that were read
  long voluntary_switches = 0, involuntary_switches = 0;  ///< mostly by sleeping, by others
};

/// Runs the loop of a host on the calling thread: wakes up each period, gives the robot its root, wrenches and joints
/// from seeded moving states, and computes kinematics, mass matrix, partial jacobian and inverse dynamics. Before the
/// first one each state is computed once, as hosts do before they rely on their clock.
/// Ends after so many cycles, or in the one during which `stop` becomes other than zero. From the first cycle to the
/// last it allocates nothing, and of the system it asks for sleep.
LoopReport run_control_loop(tesk::RigidBodySystem& system, const LoopOptions& options,
                            const volatile std::sig_atomic_t& stop);

}  // namespace korvel::host
