#include "validator/allocations/allocations.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

extern "C" {
// The C library's own, by the names that it gives them.
// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming)
void* __libc_malloc(std::size_t) noexcept;
void* __libc_calloc(std::size_t, std::size_t) noexcept;
void* __libc_realloc(void*, std::size_t) noexcept;
void* __libc_memalign(std::size_t, std::size_t) noexcept;
void __libc_free(void*) noexcept;
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)
}

namespace korvel {

namespace {

// Threads of a check allocate too, but not while failures are planned.
std::atomic<long> made{0};
std::atomic<long> live{0};
long until_failure = 0;  // 0: none is planned
bool all_fail_then = false;
bool failed = false;

template <typename... Args>
void* counted(void* (*allocate)(Args...) noexcept, Args... args) noexcept {
  made.fetch_add(1, std::memory_order_relaxed);
  const bool due = until_failure > 0 && --until_failure == 0;
  if (due || (failed && all_fail_then)) {
    failed = true;
    return nullptr;
  }
  void* block = allocate(args...);
  if (block != nullptr) live.fetch_add(1, std::memory_order_relaxed);
  return block;
}

[[maybe_unused]] void released() noexcept { live.fetch_sub(1, std::memory_order_relaxed); }

}  // namespace

Allocations allocations() noexcept { return {made, live}; }

FailingAllocations::FailingAllocations(long n, bool all_after) noexcept {
  until_failure = n;
  all_fail_then = all_after;
  failed = false;
}
FailingAllocations::~FailingAllocations() {
  until_failure = 0;
  all_fail_then = false;
}
bool FailingAllocations::happened() noexcept { return failed; }

}  // namespace korvel

#ifndef KORVEL_SANITIZED
// The linker must see these from libraries that are loaded later.
#pragma GCC visibility push(default)
using korvel::counted;
extern "C" {
void* malloc(std::size_t size) noexcept { return counted(__libc_malloc, size); }
void* calloc(std::size_t count, std::size_t size) noexcept { return counted(__libc_calloc, count, size); }
void* memalign(std::size_t alignment, std::size_t size) noexcept { return counted(__libc_memalign, alignment, size); }
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept { return memalign(alignment, size); }
int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  *block = memalign(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}
void* realloc(void* old, std::size_t size) noexcept {
  if (old != nullptr && size == 0) {
    free(old);
    return nullptr;
  }
  void* block = counted(__libc_realloc, old, size);
  if (block != nullptr && old != nullptr) korvel::released();
  return block;
}
void free(void* block) noexcept {
  if (block != nullptr) korvel::released();
  __libc_free(block);
}
}
#pragma GCC visibility pop
#endif
