#include "host/validate/real_time.h"

namespace korvel::validate {

Checks realTimeChecks() {
  Checks all;
  for (const auto& part : {quietnessChecks, stackChecks, faultChecks, threadChecks, floatingPointChecks}) {
    const Checks checks = part();
    all.insert(all.end(), checks.begin(), checks.end());
  }
  return all;
}

}  // namespace korvel::validate
