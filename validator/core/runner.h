#pragma once

#include <functional>

#include "validator/core/check.h"

namespace korvel::validate {

enum class CheckVerdict { held, finding, not_possible };

struct Outcome {
  CheckVerdict verdict;
  std::string text;  ///< the figure, or what was found, or why nothing could be
  double seconds;
};

/// Runs each check in a child process, at most `jobs` at a time, and hands over the outcomes in the order of the checks
/// as soon as they are known. A child that crashes, hangs, exits, or lets an exception escape is a finding.
/// Only the check itself is heard, whatever a module writes to what it finds open, and what it starts ends with it.
/// The calling process must have a single thread. Throws std::system_error if no process can be started.
void run_checks(const Checks& checks, const Subject& subject, unsigned jobs,
                const std::function<void(const Check&, const Outcome&)>& report);

}  // namespace korvel::validate
