#include "host/validate/check.h"

namespace korvel::validate {

Checks realTimeChecks() { return {}; }

}  // namespace korvel::validate
