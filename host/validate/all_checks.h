#pragma once

#include "host/validate/core/check.h"

namespace korvel::validate {

/// The checks of all groups, by level.
Checks all_checks();

}  // namespace korvel::validate
