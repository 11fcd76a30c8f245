#pragma once

#include <optional>

#include "states/operations.h"

namespace korvel::validate {

/// Where a process came to an end.
struct Death {
  const char* operation;
  std::size_t arguments;  ///< which of them
  int signal;
};

/// Calls all operations with all arguments in a child process once `prepare` has run there. Nothing if it lived through
/// them. Throws NotPossible with `refused` if `prepare` returns false.
std::optional<Death> call_in_child(tesk::RigidBodySystem& robot, std::vector<Arguments> arguments, bool (*prepare)(),
                                   const char* refused);

}  // namespace korvel::validate
