#include "host/validate/check.h"

namespace korvel::validate {

Checks loadingChecks() { return {}; }

}  // namespace korvel::validate
