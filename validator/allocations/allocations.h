#pragma once

namespace korvel {

/// Counts allocations of the whole process, operator new included: a program that links this has its own malloc family
/// in front of the C library's, but not in builds with a sanitizer, where nothing is counted.
struct Allocations {
  long made;  ///< since the program began
  long live;  ///< of those, not freed
};
Allocations allocations() noexcept;

/// Lets allocations fail while it lives: the n-th from now, n = 1 being the next, and perhaps all after it. For one
/// thread.
struct FailingAllocations {
  FailingAllocations(long n, bool all_after) noexcept;
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  static bool happened() noexcept;
};

}  // namespace korvel
