#include "validator/observe/side_effects.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <ucontext.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <vector>

#include "validator/allocations/allocations.h"
#include "validator/core/check.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;

/// Requires that nothing is counted from the first call on an object on. `provoke` makes it happen, to see that
/// it is counted.
std::string never_counts(const Subject& subject, const char* what, long (*count)(),
                         void (*provoke)(tesk::RigidBodySystem&)) {
  const host::System robot = create(subject);
  std::vector<Arguments> arguments = varied_arguments(*robot, subject.seed, 4);
  for (std::size_t a = 0; a < arguments.size(); ++a) {
    for (const RealTimeOperation& operation : real_time_operations()) {
      const long before = count();
      operation.call(*robot, arguments[a]);
      const long counted = count() - before;
      require(counted == 0, "{}, state {}: {} {}", operation.name, a, counted, what);
    }
  }
  const long before = count();
  provoke(*robot);
  if (count() == before) throw NotPossible(fmt::format("this build does not count {} of a module", what));
  return fmt::format("no {} by {} operations on {} states", what, real_time_operations().size(), arguments.size());
}

std::string allocates_nothing(const Subject& subject) {
  return never_counts(
      subject, "allocations", [] { return allocations().made; }, [](tesk::RigidBodySystem& robot) { robot.clone(); });
}

std::string locks_nothing(const Subject& subject) {
  return never_counts(subject, "locks", locks_taken, [](tesk::RigidBodySystem&) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    // The function is found as the loader finds it for a module.
    reinterpret_cast<decltype(&pthread_mutex_lock)>(dlsym(RTLD_DEFAULT, "pthread_mutex_lock"))(&mutex);
    pthread_mutex_unlock(&mutex);
  });
}

/// Leaves this process no system call but the one that ends it.
bool seal() {
  std::array<sock_filter, 4> program{{
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
      {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, SYS_exit_group},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_KILL_PROCESS},
  }};
  const sock_fprog filter{program.size(), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

std::string makes_no_system_call(const Subject& subject) {
  const host::System robot = create(subject);
  call_in_child(*robot, varied_arguments(*robot, subject.seed, 4), seal,
                "this kernel or this container refuses to filter system calls");
  return fmt::format("no system call by {} operations", real_time_operations().size());
}

/// Counts in this thread alone: a module may have other threads.
long page_faults() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_minflt + usage.ru_majflt;
}

long faults_of_calls(const RealTimeOperation& operation, tesk::RigidBodySystem& robot, Arguments& arguments,
                     int calls) {
  const long before = page_faults();
  for (int call = 0; call < calls; ++call) operation.call(robot, arguments);
  return page_faults() - before;
}

std::string faults_no_page(const Subject& subject) {
  constexpr int calls = 1000;
  const host::System robot = create(subject);
  Arguments arguments(random_state(subject.seed, *robot), *robot);
  for (const RealTimeOperation& operation : real_time_operations()) {
    faults_of_calls(operation, *robot, arguments, 10);  // warm-up
    // The kernel may move a page now and then, but not in every round.
    long fewest = faults_of_calls(operation, *robot, arguments, calls);
    for (int round = 0; round < 4 && fewest > 0; ++round) {
      fewest = std::min(fewest, faults_of_calls(operation, *robot, arguments, calls));
    }
    require(fewest == 0, "{}: at least {} page faults in every {} calls", operation.name, fewest, calls);
  }
  return fmt::format("no page fault in {} calls of each of {} operations", calls, real_time_operations().size());
}

/// Returns the bytes of a stack that a call needs, with the some hundred that it takes to get there.
std::size_t stack_of(const std::function<void()>& call) {
  constexpr unsigned char paint = 0xa5;
  static std::vector<unsigned char> stack(1 << 18);
  static const std::function<void()>* current = nullptr;  // contexts take no pointers
  std::fill(stack.begin(), stack.end(), paint);
  ucontext_t here{};
  ucontext_t there{};
  getcontext(&there);
  there.uc_stack.ss_sp = stack.data();
  there.uc_stack.ss_size = stack.size();
  there.uc_link = &here;
  current = &call;
  makecontext(
      &there, [] { (*current)(); }, 0);
  swapcontext(&here, &there);
  const auto touched = std::find_if(stack.begin(), stack.end(), [](unsigned char byte) { return byte != paint; });
  return static_cast<std::size_t>(stack.end() - touched);
}

std::string needs_little_stack(const Subject& subject) {
#ifdef KORVEL_SANITIZED
  throw NotPossible("this build has a sanitizer, whose stack frames are larger");
#endif
  constexpr std::size_t bound = 16 << 10;
  const host::System robot = create(subject);
  Arguments arguments(random_state(subject.seed, *robot), *robot);
  std::size_t most = 0;
  const char* by = "";
  for (const RealTimeOperation& operation : real_time_operations()) {
    const std::size_t needed = stack_of([&] { operation.call(*robot, arguments); });
    if (needed > most) {
      most = needed;
      by = operation.name;
    }
  }
  require(most <= bound, "{} needs {} bytes of stack, bound {}", by, most, bound);
  return fmt::format("at most {} bytes, by {}, bound {}", most, by, bound);
}

}  // namespace

Checks side_effect_checks() {
  return {
      {"real-time.allocates-nothing", "No operation of a control cycle touches the heap.", allocates_nothing, 10s},
      {"real-time.locks-nothing", "No operation of a control cycle takes a lock.", locks_nothing, 10s},
      {"real-time.makes-no-system-call", "No operation of a control cycle makes a system call.", makes_no_system_call,
       10s},
      {"real-time.faults-no-page", "Once warm, no operation of a control cycle touches new pages.", faults_no_page,
       60s},
      {"real-time.needs-little-stack", "No operation of a control cycle needs more than 16 KiB of stack.",
       needs_little_stack, 10s},
  };
}

}  // namespace korvel::validate
