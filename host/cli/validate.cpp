#include <fmt/format.h>
#include <re2/re2.h>

#include <limits>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <utility>

#include "host/cli/arguments.h"
#include "host/cli/commands.h"
#include "host/cli/console.h"
#include "host/io/error.h"
#include "host/robot/identity.h"
#include "host/robot/trial.h"
#include "host/validate/all_checks.h"
#include "host/validate/core/runner.h"

namespace korvel::host {

namespace {

using validate::Check;
using validate::Checks;
using validate::Outcome;
using validate::Verdict;

struct ValidateOptions {
  std::filesystem::path module = default_module();
  std::optional<int> level;
  std::string only;
  std::uint64_t seed = 1;
  unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
  std::optional<std::filesystem::path> output;
  bool json = false;
  bool list = false;
};

/// Up to this one: all of them are listed, and all but those of minutes run.
int level_of(const ValidateOptions& options) { return options.level.value_or(options.list ? 5 : 4); }

Checks chosen(const ValidateOptions& options) {
  // Expressions of this library match in linear time and bounded memory, or are refused.
  const re2::RE2 only(options.only, re2::RE2::Quiet);
  if (!only.ok()) throw Error(fmt::format("--only '{}': {}", options.only, only.error()));
  Checks checks;
  for (Check& check : validate::all_checks()) {
    if (check.level <= level_of(options) && re2::RE2::PartialMatch(check.id, only)) checks.push_back(std::move(check));
  }
  if (checks.empty()) {
    throw Error(
        fmt::format("no check up to level {} matches '{}'; --list has them all", level_of(options), options.only));
  }
  return checks;
}

const char* word(Verdict verdict) {
  return verdict == Verdict::held ? "held" : verdict == Verdict::finding ? "FINDING" : "not possible";
}

/// Writes and counts outcomes.
class Report {
 public:
  Report(const ValidateOptions& options, Destination& destination)
      : options_(options), destination_(destination), module_(identity(options.module)) {
    write_text("{}\n", in_words(module_));
  }

  void add(const Check& check, const Outcome& outcome) {
    ++counts_[outcome.verdict];
    write_text("{:<12}  {:<36}  {}\n", word(outcome.verdict), check.id, printable(outcome.text));
    if (outcome.verdict == Verdict::finding) {
      write_text("{:14}promised: {}\n{:14}again: korvel-host validate {} --level {} --only '^{}$' --seed {}\n", "",
                 check.promise, "", printable(options_.module.string()), check.level, check.id, options_.seed);
    }
    checks_.push_back({{"id", check.id},
                       {"promise", check.promise},
                       {"level", check.level},
                       {"verdict", word(outcome.verdict)},
                       {"text", outcome.text},
                       {"seconds", outcome.seconds}});
  }

  int findings() { return counts_[Verdict::finding]; }

  void end() {
    write_text("{} of {} promises held, {} findings, {} not possible here; seed {}\n", counts_[Verdict::held],
               checks_.size(), findings(), counts_[Verdict::not_possible], options_.seed);
    if (options_.json) destination_.write(json());
    destination_.commit();
  }

 private:
  template <typename... Values>
  void write_text(fmt::format_string<Values...> format, Values&&... values) {
    if (!options_.json) destination_.write_text(fmt::format(format, std::forward<Values>(values)...));
  }

  std::string json() {
    const nlohmann::json all{{"module", options_.module.string()},
                             {"version", module_.version},
                             {"build_id", module_.build_id},
                             {"seed", options_.seed},
                             {"level", level_of(options_)},
                             {"held", counts_[Verdict::held]},
                             {"findings", findings()},
                             {"not_possible", counts_[Verdict::not_possible]},
                             {"checks", checks_}};
    return json_text(all);
  }

  const ValidateOptions& options_;
  Destination& destination_;
  Identity module_;
  std::map<Verdict, int> counts_;
  nlohmann::json checks_ = nlohmann::json::array();
};

void list(const ValidateOptions& options, const Checks& checks, Destination& destination) {
  nlohmann::json all = nlohmann::json::array();
  for (const Check& check : checks) {
    all.push_back({{"id", check.id}, {"promise", check.promise}, {"level", check.level}});
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

  Report report(options, destination);
  validate::validate(checks, {std::filesystem::absolute(options.module), options.seed}, options.jobs,
                     [&](const Check& check, const Outcome& outcome) { report.add(check, outcome); });
  report.end();
  if (report.findings() > 0) throw Findings();
}

}  // namespace

void add_validate(CLI::App& app) {
  CLI::App* command = app.add_subcommand("validate", "Hold a module to what the interface promises");
  command->footer(
      "Each check runs in a process of its own. Levels: 1 loads, 2 state, 3 laws of mechanics, 4 real time and\n"
      "faults, 5 fuzz. Exit status: 0 if there are no findings, 1 if there are, 2 if the command is unusable.");
  const auto options = std::make_shared<ValidateOptions>();
  command->add_option("MODULE", options->module, "The module")->capture_default_str();
  command->add_option("--level", options->level, "The highest level to run")
      ->check(whole_number(1, 5))
      ->default_str("4");
  command->add_option("--only", options->only, "Only checks whose id matches")->type_name("REGEX");
  command->add_option("--seed", options->seed, "Of every random choice")
      ->check(whole_number(0, std::numeric_limits<std::uint64_t>::max()))
      ->capture_default_str();
  command->add_option("-j,--jobs", options->jobs, "Checks at a time")
      ->check(whole_number(1, 64))
      ->capture_default_str();
  command->add_flag("--json", options->json, "The outcomes as JSON");
  add_output_option(*command, options->output);
  command->add_flag("--list", options->list, "List checks and run none");
  command->callback([options] { validate_module(*options); });
}

}  // namespace korvel::host
