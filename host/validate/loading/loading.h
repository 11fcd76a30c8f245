#pragma once

#include "host/validate/core/check.h"

namespace korvel::validate {

/// Level 1: the file, its entry points, what it needs and what it leaves behind.
Checks loading_checks();

}  // namespace korvel::validate
