#include "host/validate/check.h"

namespace korvel::validate {

Checks allChecks() {
  Checks all;
  for (const auto& group : {loadingChecks, stateChecks, lawChecks, realTimeChecks, fuzzChecks}) {
    const Checks checks = group();
    all.insert(all.end(), checks.begin(), checks.end());
  }
  return all;
}

}  // namespace korvel::validate
