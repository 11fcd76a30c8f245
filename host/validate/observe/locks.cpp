#include "host/validate/observe/locks.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>

#include <atomic>

namespace korvel::validate {

namespace {

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
