#include "host/validate/check.h"

namespace korvel::validate {

Checks stateChecks() { return {}; }

}  // namespace korvel::validate
