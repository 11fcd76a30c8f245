#include <fmt/format.h>

#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <thread>

#include "host/cli/commands.h"
#include "host/io/error.h"
#include "host/io/output_file.h"
#include "host/robot/identity.h"
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
  int level = 4;
  std::string only;
  std::uint64_t seed = 1;
  unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
  std::filesystem::path json;
  bool list = false;
};

Checks chosen(const ValidateOptions& options) {
  std::regex only;
  try {
    only = std::regex(options.only);
  } catch (const std::regex_error& error) {
    throw Error(fmt::format("--only '{}': {}", options.only, error.what()));
  }
  Checks checks;
  for (Check& check : validate::all_checks()) {
    if (check.level <= options.level && std::regex_search(check.id, only)) checks.push_back(std::move(check));
  }
  if (checks.empty()) {
    throw Error(fmt::format("no check up to level {} matches '{}'; --list has them all", options.level, options.only));
  }
  return checks;
}

void list() {
  for (const Check& check : validate::all_checks())
    fmt::print("{}  {:<36}  {}\n", check.level, check.id, check.promise);
}

const char* word(Verdict verdict) {
  return verdict == Verdict::held ? "held" : verdict == Verdict::finding ? "FINDING" : "not possible";
}

/// Prints and counts outcomes.
class Report {
 public:
  explicit Report(const ValidateOptions& options) : options_(options), module_(identity(options.module)) {
    fmt::print("{}\n", in_words(module_));
  }

  void add(const Check& check, const Outcome& outcome) {
    ++counts_[outcome.verdict];
    fmt::print("{:<12}  {:<36}  {}\n", word(outcome.verdict), check.id, outcome.text);
    if (outcome.verdict == Verdict::finding) {
      fmt::print("{:14}promised: {}\n{:14}again: korvel-host validate {} --level {} --only '^{}$' --seed {}\n", "",
                 check.promise, "", options_.module.string(), check.level, check.id, options_.seed);
    }
    std::fflush(stdout);
    checks_.push_back({{"id", check.id},
                       {"promise", check.promise},
                       {"level", check.level},
                       {"verdict", word(outcome.verdict)},
                       {"text", outcome.text},
                       {"seconds", outcome.seconds}});
  }

  int findings() { return counts_[Verdict::finding]; }

  void print_summary() {
    fmt::print("{} of {} promises held, {} findings, {} not possible here; seed {}\n", counts_[Verdict::held],
               checks_.size(), findings(), counts_[Verdict::not_possible], options_.seed);
  }

  std::string json() {
    const nlohmann::json all{{"module", options_.module.string()},
                             {"version", module_.version},
                             {"build_id", module_.build_id},
                             {"seed", options_.seed},
                             {"level", options_.level},
                             {"held", counts_[Verdict::held]},
                             {"findings", findings()},
                             {"not_possible", counts_[Verdict::not_possible]},
                             {"checks", checks_}};
    return all.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
  }

 private:
  const ValidateOptions& options_;
  Identity module_;
  std::map<Verdict, int> counts_;
  nlohmann::json checks_ = nlohmann::json::array();
};

void validate_module(const ValidateOptions& options) {
  if (options.list) return list();
  const Checks checks = chosen(options);
  if (!std::ifstream(options.module)) throw Error(fmt::format("cannot read module '{}'", options.module.string()));
  std::optional<OutputFile> json;
  if (!options.json.empty()) json.emplace(options.json);

  Report report(options);
  validate::run_checks(checks, {std::filesystem::absolute(options.module), options.seed}, options.jobs,
                       [&](const Check& check, const Outcome& outcome) { report.add(check, outcome); });
  report.print_summary();
  if (json) {
    json->write(report.json());
    json->commit();
  }
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
      ->check(CLI::Range(1, 5))
      ->capture_default_str();
  command->add_option("--only", options->only, "Only checks whose id matches")->type_name("REGEX");
  command->add_option("--seed", options->seed, "Of every random choice")->capture_default_str();
  command->add_option("--jobs", options->jobs, "Checks at a time")->check(CLI::Range(1, 64))->capture_default_str();
  command->add_option("--json", options->json, "Write the outcomes to this file too")->type_name("FILE");
  command->add_flag("--list", options->list, "List all checks and run none");
  command->callback([options] { validate_module(*options); });
}

}  // namespace korvel::host
