#include "host/validate/check.h"

namespace korvel::validate {

Checks joined(std::initializer_list<Checks (*)()> groups) {
  Checks all;
  for (const auto& group : groups) {
    const Checks checks = group();
    all.insert(all.end(), checks.begin(), checks.end());
  }
  return all;
}

Checks allChecks() { return joined({loadingChecks, stateChecks, lawChecks, realTimeChecks, fuzzChecks}); }

}  // namespace korvel::validate
