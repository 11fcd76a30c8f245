#pragma once

#include "host/validate/core/check.h"

namespace korvel::validate {

/// Level 4: what a control loop relies on.
Checks real_time_checks();

// Its parts.
Checks side_effect_checks();
Checks stack_checks();
Checks fault_checks();
Checks thread_checks();
Checks floating_point_checks();

}  // namespace korvel::validate
