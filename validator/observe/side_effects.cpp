#include "validator/observe/side_effects.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <boost/interprocess/anonymous_shared_memory.hpp>
#include <csignal>
#include <cstring>
#include <new>

#include "host/process/child_process.h"
#include "validator/core/check.h"

namespace korvel::validate {

namespace {

/// The progress is in memory that both processes share, because the child may not be allowed a system call.
struct Progress {
  std::size_t operation;
  std::size_t arguments;
  bool ended;  ///< all calls came back
};

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
  const auto memory = boost::interprocess::anonymous_shared_memory(sizeof(Progress));
  auto& progress = *new (memory.get_address()) Progress{};
  const std::vector<RealTimeOperation>& operations = real_time_operations();  // the child may not have memory for them
  host::ChildProcess child(
      [&] {
        if (prepare()) call(robot, arguments, progress);
        return std::string();
      },
      std::chrono::minutes(1));
  const host::ChildProcess::End end = child.wait();
  // The answer itself takes system calls, which the child may be killed for.
  if (progress.ended) return;
  if (end.answered) throw NotPossible(refused);
  const std::string words = end.signal == SIGSYS ? "makes a system call"
                            : end.signal != 0    ? strsignal(end.signal)
                                                 : end.text;
  throw Finding(fmt::format("{}, state {}: {}", operations[progress.operation].name, progress.arguments, words));
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
