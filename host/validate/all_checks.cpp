#include "host/validate/all_checks.h"

#include <fmt/format.h>

#include <optional>

#include "host/validate/fuzz/fuzz.h"
#include "host/validate/laws/laws.h"
#include "host/validate/loading/loading.h"
#include "host/validate/real_time/real_time.h"
#include "host/validate/state/state.h"

namespace korvel::validate {

Checks all_checks() { return joined({loading_checks, state_checks, law_checks, real_time_checks, fuzz_checks}); }

void validate(const Checks& checks, const Subject& subject, unsigned jobs,
              const std::function<void(const Check&, const Outcome&)>& report) {
  const Check loads = loading_checks().front();
  std::optional<Outcome> fault;
  run_checks({loads}, subject, 1, [&](const Check&, const Outcome& outcome) {
    if (outcome.verdict == Verdict::finding) fault = outcome;
  });
  if (!fault) return run_checks(checks, subject, jobs, report);
  for (const Check& check : checks) {
    if (&check != &checks.front()) {
      report(check, {Verdict::not_possible, "not tried: it does not load, or makes no object", 0});
    } else {
      if (check.id != loads.id) fault->text = fmt::format("{}: {}", loads.id, fault->text);
      report(check, *fault);
    }
  }
}

}  // namespace korvel::validate
