#include "validator/all_checks.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

namespace korvel::validate {

namespace {

constexpr std::pair<int, Checks (*)()> groups[] = {
    {1, loading_checks},        {2, answer_checks},      {2, object_checks},      {3, laws::positions},
    {3, laws::dynamics},        {3, laws::known_bodies}, {4, side_effect_checks}, {4, fault_checks},
    {4, floating_point_checks}, {5, fuzz_checks}};

}  // namespace

Checks all_checks() {
  Checks all;
  for (const auto& [level, group] : groups) {
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
