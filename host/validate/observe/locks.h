#pragma once

namespace korvel::validate {

/// Mutexes, read-write locks, spin locks and semaphores that were asked for or given back since the program began. A
/// program that links this has its own functions in front of the C library's, but not in builds with a sanitizer.
long locks_taken() noexcept;

}  // namespace korvel::validate
