#pragma once

#include "validator/core/check.h"

namespace korvel::validate {

// Parts of the real-time checks.
Checks fault_checks();
Checks floating_point_checks();

}  // namespace korvel::validate
