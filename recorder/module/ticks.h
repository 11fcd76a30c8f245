#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

#include "recorder/format/format.h"

namespace korvel::record {

inline std::int64_t nanoseconds(clockid_t clock) noexcept {
  timespec now{};
  clock_gettime(clock, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

/// A counter of constant rate that all processors share: three times as fast to read as the machine's clock.
inline std::uint64_t ticks() noexcept {
#if defined(__x86_64__)
  return __rdtsc();
#else
  std::uint64_t count = 0;
  asm volatile("mrs %0, cntvct_el0" : "=r"(count));
  return count;
#endif
}

inline recording::Instant now() noexcept {
  return {ticks(), nanoseconds(CLOCK_MONOTONIC), nanoseconds(CLOCK_REALTIME)};
}

/// Tells the threads of a process apart.
inline std::uint16_t this_thread() noexcept {
  const auto address = reinterpret_cast<std::uintptr_t>(reinterpret_cast<void*>(pthread_self()));
  return static_cast<std::uint16_t>((address >> 6) ^ (address >> 20));
}

}  // namespace korvel::record
