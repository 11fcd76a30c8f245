#pragma once

#include "host/validate/check.h"

namespace korvel::validate {

/// The parts of realTimeChecks().
Checks quietnessChecks();
Checks stackChecks();
Checks faultChecks();
Checks threadChecks();
Checks floatingPointChecks();

}  // namespace korvel::validate
