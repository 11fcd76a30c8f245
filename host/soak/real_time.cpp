#include "host/soak/real_time.h"

#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>

namespace korvel::host {

namespace {

/// Writes to stack that calls will need.
void take_stack() {
  constexpr std::size_t reserve = 256 * 1024;
  constexpr std::size_t page = 4096;
  std::array<volatile unsigned char, reserve> stack;
  for (std::size_t i = 0; i < reserve; i += page) stack[i] = 0;
}

std::string words(int code) { return std::generic_category().message(code); }

}  // namespace

RealTime become_real_time(int priority) {
  RealTime granted{true, true, {}};
  const auto refused = [&granted](bool& what, const char* consequence, int code) {
    what = false;
    granted.not_granted += (granted.not_granted.empty() ? "" : "; ") + (consequence + (": " + words(code)));
  };
  if (mlockall(MCL_CURRENT | MCL_FUTURE) != 0) refused(granted.memory_locked, "memory is not locked", errno);
  take_stack();

  sched_param parameters{};
  parameters.sched_priority = priority;
  const int code = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
  if (code != 0) refused(granted.scheduled, "scheduled as every thread is, not by SCHED_FIFO", code);
  // Other threads may be woken 50 us late to save power.
  prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
  return granted;
}

}  // namespace korvel::host
