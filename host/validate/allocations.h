#pragma once

namespace korvel::validate {

/// Of the whole process, operator new included: a program that links this has its own malloc family in front of the C
/// library's. One thread.
struct Allocations {
  long made;  ///< since the program began
  long live;  ///< of those, not freed
};
const Allocations& allocations() noexcept;

/// Lets allocations fail while it lives: the n-th from now, n = 1 being the next, and perhaps all after it.
struct FailingAllocations {
  FailingAllocations(long n, bool all_after) noexcept;
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  static bool happened() noexcept;
};

}  // namespace korvel::validate
