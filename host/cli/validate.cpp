#include <fmt/format.h>
#include <re2/re2.h>

#include <array>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/robot/description.h"
#include "host/robot/module.h"
#include "motion/csv/error.h"
#include "validator/all_checks.h"
#include "validator/core/check.h"

namespace korvel::host {

namespace {

using validate::Check;
using validate::Checks;
using validate::CheckVerdict;
using validate::Outcome;

struct ValidateOptions {
  std::filesystem::path module = default_module();
  std::optional<int> level;
  std::string only;
  std::uint64_t seed = 1;
  unsigned jobs = 1;
  std::optional<std::filesystem::path> output;
  bool json = false;
  bool list = false;
  bool verbose = false;
};

/// Up to this one: all of them are listed, and all but those of minutes run.
int level_of(const ValidateOptions& options) { return options.level.value_or(options.list ? 5 : 4); }

Checks chosen(const ValidateOptions& options) {
  // Expressions of this library match in linear time and bounded memory, or are refused.
  const re2::RE2 only(options.only, re2::RE2::Quiet);
  if (!only.ok()) throw Error("--only '{}': {}", options.only, only.error());
  Checks checks;
  for (Check& check : validate::all_checks()) {
    if (check.level <= level_of(options) && re2::RE2::PartialMatch(check.id, only)) checks.push_back(std::move(check));
  }
  if (checks.empty()) {
    throw Error("no check up to level {} matches '{}'; --list has them all", level_of(options), options.only);
  }
  return checks;
}

/// The words of each verdict, for people and for programs.
constexpr struct {
  const char* text;
  const char* json;
} verdict_words[] = {{"pass", "held"}, {"FAIL", "FINDING"}, {"skipped", "not possible"}};

std::size_t place_of(CheckVerdict verdict) { return static_cast<std::size_t>(verdict); }

nlohmann::json json_of(const Check& check) {
  return {{"id", check.id}, {"promise", check.promise}, {"level", check.level}};
}

std::string text_of(const Check& check, const Outcome& outcome, const ValidateOptions& options) {
  std::string text = fmt::format("{:<8}{}\n", verdict_words[place_of(outcome.verdict)].text, check.id);
  if (!outcome.text.empty()) text += fmt::format("{:8}{}\n", "", printable(outcome.text));
  if (outcome.verdict == CheckVerdict::finding) {
    text += fmt::format("{:8}guarantee: {}\n{:8}rerun: korvel-host validate {} --level {} --only '^{}$' --seed {}\n",
                        "", check.promise, "", printable(options.module.string()), check.level, check.id, options.seed);
  }
  return text;
}

/// The numbers of checks of a group, or of all, by verdict.
using Counts = std::array<std::size_t, std::size(verdict_words)>;

std::string text_of(const Counts& counts) {
  const auto& [passed, failed, skipped] = counts;
  return fmt::format("{} passed, {} failed, {} skipped", passed, failed, skipped);
}

void list(const ValidateOptions& options, const Checks& checks, Destination& destination) {
  nlohmann::json all = nlohmann::json::array();
  for (const Check& check : checks) {
    all.push_back(json_of(check));
    if (!options.json) destination.write_text(fmt::format("{}  {:<36}  {}\n", check.level, check.id, check.promise));
  }
  if (options.json) destination.write(json_text(all));
  destination.commit();
}

void validate_module(const ValidateOptions& options) {
  Outputs outputs = outputs_beside(options.module);
  if (!options.list) require_module_file(options.module);
  const Checks checks = chosen(options);
  Destination destination(options.output, outputs);
  if (options.list) return list(options, checks, destination);

  const auto write_text = [&](const std::string& text) {
    if (!options.json) destination.write_text(text);
  };
  const Identity module = identity(options.module);
  Counts counts{};
  std::map<std::string, Counts> groups;
  nlohmann::json outcomes = nlohmann::json::array();
  write_text(lines_of(module));
  ProgressLine progress("validate");
  validate::validate(checks, {std::filesystem::absolute(options.module), options.seed}, options.jobs,
                     [&](const Check& check, const Outcome& outcome) {
                       ++counts[place_of(outcome.verdict)];
                       progress.show(static_cast<double>(outcomes.size() + 1) / static_cast<double>(checks.size()));
                       ++groups[check.id.substr(0, check.id.find('.'))][place_of(outcome.verdict)];
                       if (options.verbose || outcome.verdict == CheckVerdict::finding) {
                         progress.clear();
                         write_text(text_of(check, outcome, options));
                       }
                       outcomes.push_back(json_of(check));
                       outcomes.back().update({{"verdict", verdict_words[place_of(outcome.verdict)].json},
                                               {"text", outcome.text},
                                               {"seconds", outcome.seconds}});
                     });
  progress.clear();
  for (const auto& [group, of_group] : groups) write_text(fmt::format("  {:<18}{}\n", group, text_of(of_group)));
  write_text(fmt::format("{} checks: {} (seed {})\n", checks.size(), text_of(counts), options.seed));
  const auto& [passed, failed, skipped] = counts;
  const nlohmann::json all{{"module", options.module.string()},
                           {"version", module.version},
                           {"build_id", module.build_id},
                           {"seed", options.seed},
                           {"level", level_of(options)},
                           {"held", passed},
                           {"findings", failed},
                           {"not_possible", skipped},
                           {"checks", outcomes}};
  if (options.json) destination.write(json_text(all));
  destination.commit();
  if (failed > 0) throw Findings();
}

}  // namespace

void add_validate(CLI::App& app) {
  CLI::App* command = app.add_subcommand("validate", "Check a module against the interface's guarantees");
  command->footer(
      R"(Levels: 1 loading, 2 state, 3 laws of mechanics, 4 real time and faults (under
a second), 5 random calls (about a minute). Each check runs in its own process.
Exit status: 0 all checks passed, 1 a check failed, 2 the command is unusable.

Examples:
  korvel-host validate libkorvel.so
  korvel-host validate --level 5 --json -o outcomes.json)");
  const auto options = std::make_shared<ValidateOptions>();
  command->add_option("MODULE", options->module,
                      "Module to check (default: the libkorvel.so beside the tool, or else the installed one)");
  add_number_option(*command, "--level", options->level, "Run the levels up to this one, 1 to 5", whole_number(1, 5))
      ->default_str("4");
  command->add_option("--only", options->only, "Run only checks whose id matches this regular expression")
      ->type_name("REGEX");
  add_number_option(*command, "--seed", options->seed, "Seed of the random numbers",
                    whole_number(0, std::numeric_limits<std::uint64_t>::max()));
  add_jobs_option(*command, options->jobs, "Number of checks to run in parallel, 1 to 64");
  command->add_flag("-v,--verbose", options->verbose, "Print every check, not only those that failed");
  command->add_flag("--json", options->json, "Print the outcomes as JSON");
  add_output_option(*command, options->output);
  command->add_flag("--list", options->list, "List the checks without running them");
  command->callback([options] { validate_module(*options); });
}

}  // namespace korvel::host
