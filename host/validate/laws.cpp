#include "host/validate/check.h"

namespace korvel::validate {

Checks lawChecks() { return {}; }

}  // namespace korvel::validate
