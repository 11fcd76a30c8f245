#include "host/soak/control_loop.h"

#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <ctime>
#include <system_error>
#include <vector>

#include "contract/calls.h"
#include "contract/states.h"

namespace korvel::host {

namespace {

constexpr std::uint64_t state_count = 64;
constexpr std::int64_t second = 1'000'000'000;

std::int64_t now() noexcept {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * second + time.tv_nsec;
}

/// Returns early, if ever, when a signal comes.
void sleep_until(std::int64_t instant) noexcept {
  const timespec time{instant / second, instant % second};
  clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

rusage used() noexcept {
  rusage result{};
  getrusage(RUSAGE_THREAD, &result);
  return result;
}

/// All that a host asks for in a cycle.
void compute_cycle(tesk::RigidBodySystem& system, Arguments& with, unsigned long body) {
  system.setRootPose(with.pose);
  system.setRootVelocity(with.velocity);
  system.setRootAcceleration(with.acceleration);
  for (std::size_t b = 0; b < with.wrenches.size(); ++b) system.setExternalWrench(b, with.wrenches[b]);
  system.setJointAnglesPos(with.joints[0]);
  system.setJointAnglesVel(with.joints[1]);
  system.setJointAnglesAcc(with.joints[2]);
  system.computeFwdKinematics();
  system.computeGeneralizedMass();
  system.computePartialComJacobian(body, with.jacobian);
  system.computeInverseDynamics();
}

/// Writes to stack that calls will need.
void take_stack() {
  constexpr std::size_t reserve = 256 * 1024;
  constexpr std::size_t page = 4096;
  std::array<volatile unsigned char, reserve> stack;
  for (std::size_t i = 0; i < reserve; i += page) stack[i] = 0;
}

}  // namespace

RealTime become_real_time(int priority) {
  RealTime granted{true, true, {}};
  const auto refused = [&granted](bool& what, const char* consequence, int code) {
    what = false;
    granted.not_granted +=
        (granted.not_granted.empty() ? "" : "; ") + (consequence + (": " + std::generic_category().message(code)));
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

LoopReport run_control_loop(tesk::RigidBodySystem& system, const LoopOptions& options,
                            const volatile std::sig_atomic_t& stop) {
  std::vector<Arguments> states;
  for (std::uint64_t k = 0; k < state_count; ++k) {
    states.emplace_back(random_state(options.seed + k, system), system);
    compute_cycle(system, states.back(), 0);
  }
  const unsigned long bodies = system.getNbBodies();
  const std::int64_t period = options.period.count();

  LoopReport report;
  const rusage before = used();
  const std::int64_t start = now() + period;
  std::uint64_t instant = 0;
  for (std::uint64_t cycle = 0; cycle < options.cycles; ++cycle) {
    const std::int64_t wanted = start + static_cast<std::int64_t>(instant) * period;
    sleep_until(wanted);
    if (stop != 0) break;
    const std::int64_t woken = now();
    compute_cycle(system, states[cycle % state_count], cycle % bodies);
    const std::int64_t done = now();

    report.latency.add(woken - wanted, instant);
    report.computing.add(done - woken, instant);
    report.both.add(done - wanted, instant);
    if (done - wanted > period) {
      ++report.late;
      if (woken - wanted >= period) ++report.late_by_latency;
      if (done - woken > period) ++report.late_by_computing;
    }
    // A late cycle does not make those after it late.
    const auto passed = static_cast<std::uint64_t>((done - wanted) / period);
    report.skipped += passed;
    instant += passed + 1;
  }
  const rusage after = used();
  report.minor_faults = after.ru_minflt - before.ru_minflt;
  report.major_faults = after.ru_majflt - before.ru_majflt;
  report.voluntary_switches = after.ru_nvcsw - before.ru_nvcsw;
  report.involuntary_switches = after.ru_nivcsw - before.ru_nivcsw;
  return report;
}

}  // namespace korvel::host
