#include "host/validate/core/check.h"

namespace korvel::validate {

Checks joined(std::initializer_list<Checks (*)()> groups) {
  Checks all;
  for (const auto& group : groups) {
    const Checks checks = group();
    all.insert(all.end(), checks.begin(), checks.end());
  }
  return all;
}

}  // namespace korvel::validate
