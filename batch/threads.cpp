#include "batch/threads.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <memory>
#include <new>

namespace korvel::batch {

int usable_processors() noexcept {
  // Machines with more processors than a fixed set has bits answer to a larger one.
  for (int bits = CPU_SETSIZE; bits <= 64 * CPU_SETSIZE; bits *= 2) {
    const std::unique_ptr<cpu_set_t, void (*)(cpu_set_t*)> set(CPU_ALLOC(static_cast<std::size_t>(bits)),
                                                               [](cpu_set_t* s) { CPU_FREE(s); });
    const std::size_t size = CPU_ALLOC_SIZE(static_cast<std::size_t>(bits));
    if (set != nullptr && sched_getaffinity(0, size, set.get()) == 0) return CPU_COUNT_S(size, set.get());
  }
  return 1;
}

namespace {

/// Of this process: it was forked off one that had a pool.
std::atomic<bool> pool_is_lost{false};

}  // namespace

Threads::Pool::Pool(int count) : arena(count) {
  if (count > tbb::info::default_concurrency()) {
    more_than_processors.emplace(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(count));
  }
}

Threads::Threads(int count) : count_(count == 0 ? usable_processors() : count) {
  if (count_ == 1 || pool_is_lost) return;
  static const int watched = pthread_atfork(nullptr, nullptr, [] { pool_is_lost = true; });
  if (watched != 0) throw std::bad_alloc();
  pool_ = std::make_unique<Pool>(count_);
}

Threads::~Threads() {
  // Ending it would ask for its locks.
  if (pool_is_lost) static_cast<void>(pool_.release());
}

bool Threads::works_alone() const noexcept { return pool_ == nullptr || pool_is_lost; }

}  // namespace korvel::batch
