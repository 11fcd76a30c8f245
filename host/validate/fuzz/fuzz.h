#pragma once

#include "host/validate/core/check.h"

namespace korvel::validate {

/// Level 5: random calls beside a model of what every object holds.
Checks fuzz_checks();

}  // namespace korvel::validate
