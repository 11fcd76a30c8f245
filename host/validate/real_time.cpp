#include "host/validate/real_time.h"

namespace korvel::validate {

Checks realTimeChecks() {
  return joined({quietnessChecks, stackChecks, faultChecks, threadChecks, floatingPointChecks});
}

}  // namespace korvel::validate
