#pragma once

#include "contract/calls.h"

namespace korvel::validate {

/// Calls all operations with all arguments in a child process once `prepare` has run there. Throws Finding if a call
/// ends the process, and NotPossible with `refused` if `prepare` returns false.
void call_in_child(tesk::RigidBodySystem& robot, std::vector<Arguments> arguments, bool (*prepare)(),
                   const char* refused);

/// Mutexes, read-write locks, spin locks and semaphores that were asked for or given back since the program began. A
/// program that links this has its own functions in front of the C library's, but not in builds with a sanitizer.
long locks_taken() noexcept;

}  // namespace korvel::validate
