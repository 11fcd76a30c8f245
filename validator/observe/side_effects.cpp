#include "validator/observe/side_effects.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>
#include <system_error>

#include "validator/core/check.h"

namespace korvel::validate {

namespace {

/// In memory that both processes share: a system call may be what the child must not make.
struct Progress {
  std::size_t operation;
  std::size_t arguments;
  bool ended;  ///< all calls came back
};

enum Exit : int { finished, was_refused };

void call(tesk::RigidBodySystem& robot, std::vector<Arguments>& arguments, volatile Progress& progress) noexcept {
  const std::vector<RealTimeOperation>& operations = real_time_operations();
  for (std::size_t a = 0; a < arguments.size(); ++a) {
    progress.arguments = a;
    for (std::size_t i = 0; i < operations.size(); ++i) {
      progress.operation = i;
      operations[i].call(robot, arguments[a]);
    }
  }
  progress.ended = true;
}

std::atomic<long> count{0};

/// Counts, then does what the C library does.
template <typename Lock>
int counted(std::atomic<int (*)(Lock*)>& original, const char* name, Lock* lock) noexcept {
  count.fetch_add(1, std::memory_order_relaxed);
  auto* found = original.load(std::memory_order_relaxed);
  if (found == nullptr) {
    found = reinterpret_cast<int (*)(Lock*)>(dlsym(RTLD_NEXT, name));
    original.store(found, std::memory_order_relaxed);
  }
  return found(lock);
}

}  // namespace

void call_in_child(tesk::RigidBodySystem& robot, std::vector<Arguments> arguments, bool (*prepare)(),
                   const char* refused) {
  void* shared = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  auto* progress = new (shared) Progress{};
  real_time_operations();  // made now: the child may not have memory for them
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const bool prepared = prepare();
    if (prepared) call(robot, arguments, *progress);
    // All threads: a module may have made one in the child.
    syscall(SYS_exit_group, prepared ? finished : was_refused);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  const Progress last = *progress;
  munmap(shared, sizeof(Progress));
  const char* const operation = real_time_operations()[last.operation].name;
  if (WIFSIGNALED(status)) {
    const int signal = WTERMSIG(status);
    throw Finding(fmt::format("{}, state {}: {}", operation, last.arguments,
                              signal == SIGSYS ? "makes a system call" : strsignal(signal)));
  }
  if (WEXITSTATUS(status) == was_refused) throw NotPossible(refused);
  require(last.ended, "{} ends the process", operation);
}

long locks_taken() noexcept { return count.load(std::memory_order_relaxed); }

}  // namespace korvel::validate

#ifndef KORVEL_SANITIZED
// NOLINTBEGIN(bugprone-macro-parentheses): a name and a type
#define KORVEL_COUNT(name, Lock, throws)                     \
  int name(Lock* lock) noexcept(!(throws)) {                 \
    static std::atomic<int (*)(Lock*)> original{nullptr};    \
    return korvel::validate::counted(original, #name, lock); \
  }
// NOLINTEND(bugprone-macro-parentheses)
// The linker must see these from libraries that are loaded later.
#pragma GCC visibility push(default)
extern "C" {
KORVEL_COUNT(pthread_mutex_lock, pthread_mutex_t, false)
KORVEL_COUNT(pthread_mutex_trylock, pthread_mutex_t, false)
KORVEL_COUNT(pthread_rwlock_rdlock, pthread_rwlock_t, false)
KORVEL_COUNT(pthread_rwlock_wrlock, pthread_rwlock_t, false)
KORVEL_COUNT(pthread_spin_lock, pthread_spinlock_t, false)
KORVEL_COUNT(sem_post, sem_t, false)
KORVEL_COUNT(sem_trywait, sem_t, false)
KORVEL_COUNT(sem_wait, sem_t, true)  // it may be where a thread is cancelled
}
#pragma GCC visibility pop
#undef KORVEL_COUNT
#endif
