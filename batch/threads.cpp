#include "batch/threads.h"

#include <sched.h>

#include <memory>

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

Threads::Threads(int count) : count_(count == 0 ? usable_processors() : count), arena_(count_) {
  if (count_ > tbb::info::default_concurrency()) {
    more_than_processors_.emplace(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(count_));
  }
}

}  // namespace korvel::batch
