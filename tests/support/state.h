#pragma once

#include "host/validate/states.h"

namespace korvel::tests {

// Tests read states as the validator does.
using namespace validate;  // NOLINT(google-build-using-namespace)

}  // namespace korvel::tests
