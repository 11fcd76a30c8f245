#include <nlohmann/json.hpp>
#include <regex>

#include "tests/host/support/command.h"
#include "validator/all_checks.h"
#include "validator/core/check.h"

namespace korvel::validate {
namespace {

class Validate : public host::CommandTest {
 protected:
  /// What `--json -o out.json` has written.
  nlohmann::json outcomes() const { return nlohmann::json::parse(host::read(directory_ / "out.json")); }
};

TEST_F(Validate, TheModulesKeepTheirPromises) {
  for (const char* module : {KORVEL_MODULE, KORVEL_PER_BODY_MODULE}) {
    succeeded(fmt::format("validate {} --level 2 --jobs 3 --json -o out.json", module));
    const auto all = outcomes();
    EXPECT_EQ(all["module"], module);
    EXPECT_EQ(all["level"], 2);
    EXPECT_EQ(all["seed"], 1);
    EXPECT_EQ(all["findings"], 0);
    EXPECT_EQ(all["held"].get<std::size_t>() + all["not_possible"].get<std::size_t>(), all["checks"].size());
    // All of these levels, in their order, and all of the state.
    std::size_t at = 0;
    for (const Check& check : all_checks()) {
      if (check.level > 2) continue;
      const auto& outcome_of_check = all["checks"].at(at++);
      EXPECT_EQ(outcome_of_check["id"], check.id);
      EXPECT_EQ(outcome_of_check["promise"], check.promise);
      EXPECT_EQ(outcome_of_check["level"], check.level);
      if (check.level == 2) {
        EXPECT_EQ(outcome_of_check["verdict"], "held") << outcome_of_check;
      }
    }
    EXPECT_EQ(all["checks"].size(), at);
  }
}

// The list has one line for each check, with its level and its promise, and needs no module.
TEST_F(Validate, ListsEveryCheck) {
  const std::string listed = host("validate none.so --list").out;
  std::size_t at = 0;
  for (const Check& check : all_checks()) {
    const std::string line = fmt::format("{}  {:<36}  {}\n", check.level, check.id, check.promise);
    EXPECT_EQ(listed.compare(at, line.size(), line), 0) << check.id;
    at += line.size();
  }
  EXPECT_EQ(at, listed.size());
  // Or those that would run.
  const std::string chosen = host("validate --list --level 1 --only counts").out;
  EXPECT_EQ(chosen.find("1  loading.counts "), 0U) << chosen;
  EXPECT_EQ(std::count(chosen.begin(), chosen.end(), '\n'), 1);
}

// A finding ends with status 1, says what was promised and how to see it again, and its JSON is valid whatever bytes a
// module puts into its words.
TEST_F(Validate, AFindingIsReportedInFull) {
  const std::string module = KORVEL_FAULTY_MODULES "on_request.so";
  const std::string arguments = fmt::format("validate {} --only '^loading.(loads|counts)$' --seed 3", module);
  const std::string fault = "export KORVEL_FAULT='create throws'";
  const Outcome outcome = host(arguments, fault);
  EXPECT_EQ(outcome.status, 1) << outcome.err;
  for (const std::string& words :
       {std::string("FAIL    loading.loads\n"), std::string("guarantee: It loads, and create returns an object."),
        fmt::format("rerun: korvel-host validate {} --level 1 --only '^loading.loads$' --seed 3\n", module),
        std::string("  loading           0 passed, 1 failed, 1 skipped\n"),
        std::string("2 checks: 0 passed, 1 failed, 1 skipped (seed 3)\n")}) {
    expect_has(outcome.out, words);
  }
  EXPECT_EQ(outcome.out.find(module + ": version "), 0U) << outcome.out;
  const auto all = nlohmann::json::parse(host(arguments + " --json", fault).out);
  EXPECT_EQ(all["findings"], 1);
  EXPECT_EQ(all["held"], 0);
  EXPECT_EQ(all["checks"][0]["verdict"], "FINDING");
  EXPECT_EQ(all["checks"][0]["text"], "an exception escaped: out\nof \x1b[31morder \xef\xbf\xbd");
}

// What does not load, or makes no object, is found once, by the first of the checks; the others are not tried.
TEST_F(Validate, AModuleThatDoesNotLoadIsFoundOnce) {
  const auto expect_found_once = [&](const std::string& module, const std::string& fault, const std::string& words) {
    const Outcome outcome =
        host(fmt::format("validate {} --only '^(loading|fuzz)' --level 5 --json -o out.json", module),
             fmt::format("export KORVEL_FAULT='{}'", fault));
    EXPECT_EQ(outcome.status, 1) << module << fault << outcome.err;
    const auto all = outcomes();
    EXPECT_EQ(all["findings"], 1) << module << fault;
    EXPECT_EQ(all["held"], 0) << module << fault;
    for (const auto& check : all["checks"]) {
      const bool is_first = check == all["checks"][0];
      EXPECT_EQ(check["verdict"], is_first ? "FINDING" : "not possible") << check;
      expect_has(check["text"].get<std::string>(), is_first ? words : "not tried: it does not load");
    }
  };
  const std::string faulty = KORVEL_FAULTY_MODULES "on_request.so";
  for (const char* when : {"hangs at load", "create hangs"}) expect_found_once(faulty, when, "it does not end within");
  for (const char* when : {"aborts at load", "create aborts"}) expect_found_once(faulty, when, "it crashed: Aborted");
  for (const char* when : {"exits at load", "create exits"}) expect_found_once(faulty, when, "exit status 0");

  const std::string module = host::read(KORVEL_MODULE);
  for (const std::size_t size : {std::size_t{100}, std::size_t{5000}, module.size() / 2, module.size() - 64}) {
    host::write(directory_ / "cut.so", module.substr(0, size));
    expect_found_once("cut.so", "", "the file is cut short");
    EXPECT_EQ(host("validate cut.so --level 1").out.find("cut.so: version "), 0U);
  }
  // Whoever asks for other checks is told, too.
  const std::string found = host("validate cut.so --only '^laws'").out;
  expect_has(found, "loading.loads: the file is cut short\n");
}

// No folder is needed, and none has anything left in it, by a module that crashes either.
TEST_F(Validate, LeavesTheTemporaryFolderAlone) {
  std::filesystem::create_directory(directory_ / "temporary");
  const std::string arguments = "validate " KORVEL_FAULTY_MODULES "on_request.so --level 1 ";
  for (const char* preparation : {"export TMPDIR=none", "export TMPDIR=/dev/full", "export TMPDIR=/proc"}) {
    succeeded(arguments, preparation);
  }
  for (const char* fault : {"aborts at load", "copies abort"}) {
    EXPECT_EQ(host(arguments, fmt::format("export TMPDIR=$PWD/temporary KORVEL_FAULT='{}'", fault)).status, 1);
  }
  EXPECT_EQ(files(), std::vector<std::string>{"temporary"});
  EXPECT_TRUE(std::filesystem::is_empty(directory_ / "temporary"));
}

// The same seed gives the same words, whatever runs beside; another one other words, of a finding too.
TEST_F(Validate, SeedsRepeatChecks) {
  const std::string sound = fmt::format("validate {} --level 3 --only '^(state|laws)' ", KORVEL_MODULE);
  const std::string once = host(sound + "-v --seed 5 --jobs 1").out;
  EXPECT_EQ(host(sound + "-v --seed 5 --jobs 4").out, once);
  EXPECT_NE(host(sound + "-v --seed 6 --jobs 4").out, once);

  const std::string fault = "export KORVEL_FAULT='armature'";
  const std::string faulty = "validate " KORVEL_FAULTY_MODULES "on_request.so --only '^laws' ";
  const std::string found = host(faulty + "--seed 5", fault).out;
  expect_has(found, "of state 5: entry");
  EXPECT_EQ(host(faulty + "--seed 5", fault).out, found);
  EXPECT_NE(host(faulty + "--seed 6", fault).out, found);
  // The command that a finding ends with gives the finding again.
  std::smatch again;
  ASSERT_TRUE(
      std::regex_search(found, again, std::regex("(FAIL [^\n]*\n[^\n]*)\n[^\n]*\n *rerun: korvel-host ([^\n]*)\n")));
  expect_has(host(again[2].str(), fault).out, '\n' + again[1].str());
}

}  // namespace
}  // namespace korvel::validate
