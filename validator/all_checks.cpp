#include "validator/all_checks.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

namespace korvel::validate {

Checks all_checks() {
  Checks all;
  int level = 0;
  for (const auto& group : {loading_checks, state_checks, law_checks, real_time_checks, fuzz_checks}) {
    ++level;
    for (Check& check : group()) {
      if (check.level == 0) check.level = level;
      all.push_back(std::move(check));
    }
  }
  return all;
}

void validate(const Checks& checks, const Subject& subject, unsigned jobs,
              const std::function<void(const Check&, const Outcome&)>& report) {
  const Check loads = loading_checks().front();
  std::optional<Outcome> fault;
  run_checks({loads}, subject, 1, [&](const Check&, const Outcome& outcome) {
    if (outcome.verdict == CheckVerdict::finding) fault = outcome;
  });
  if (!fault) return run_checks(checks, subject, jobs, report);
  for (const Check& check : checks) {
    if (&check != &checks.front()) {
      report(check, {CheckVerdict::not_possible, "not tried: it does not load, or makes no object", 0});
    } else {
      if (check.id != loads.id) fault->text = fmt::format("{}: {}", loads.id, fault->text);
      report(check, *fault);
    }
  }
}

}  // namespace korvel::validate
