#pragma once

#include "validator/core/check.h"

namespace korvel::validate {

/// The checks of all groups, by level.
Checks all_checks();

/// Runs checks, if the module loads at all. If not, the first of them reports that, and the others are not tried.
void validate(const Checks& checks, const Subject& subject, unsigned jobs,
              const std::function<void(const Check&, const Outcome&)>& report);

}  // namespace korvel::validate
