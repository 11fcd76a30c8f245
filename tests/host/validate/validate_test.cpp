#include <nlohmann/json.hpp>
#include <regex>

#include "host/validate/all_checks.h"
#include "host/validate/core/check.h"
#include "tests/host/support/command.h"

namespace korvel::validate {
namespace {

class Validate : public host::CommandTest {
 protected:
  /// What `--json -o out.json` has written.
  nlohmann::json outcomes() const { return nlohmann::json::parse(host::read(directory_ / "out.json")); }
};

TEST_F(Validate, TheModulesKeepTheirPromises) {
  for (const char* module : {KORVEL_MODULE, KORVEL_PER_BODY_MODULE}) {
    const Outcome outcome = host(fmt::format("validate {} --level 2 --jobs 3 --json -o out.json", module));
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
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
       {std::string("FINDING       loading.loads "), std::string("promised: It loads, and create returns an object."),
        fmt::format("again: korvel-host validate {} --level 1 --only '^loading.loads$' --seed 3\n", module),
        std::string("0 of 2 promises held, 2 findings, 0 not possible here; seed 3\n")}) {
    EXPECT_NE(outcome.out.find(words), std::string::npos) << words << outcome.out;
  }
  EXPECT_EQ(outcome.out.find(module + ": version "), 0U) << outcome.out;
  const auto all = nlohmann::json::parse(host(arguments + " --json", fault).out);
  EXPECT_EQ(all["findings"], 2);
  EXPECT_EQ(all["held"], 0);
  EXPECT_EQ(all["checks"][0]["verdict"], "FINDING");
  EXPECT_EQ(all["checks"][0]["text"], "an exception escaped: out of order \xef\xbf\xbd");
}

// The same seed gives the same words, whatever runs beside; another one other words, of a finding too.
TEST_F(Validate, SeedsRepeatChecks) {
  const std::string sound = fmt::format("validate {} --level 3 --only '^(state|laws)' ", KORVEL_MODULE);
  const std::string once = host(sound + "--seed 5 --jobs 1").out;
  EXPECT_EQ(host(sound + "--seed 5 --jobs 4").out, once);
  EXPECT_NE(host(sound + "--seed 6 --jobs 4").out, once);

  const std::string fault = "export KORVEL_FAULT='armature'";
  const std::string faulty = "validate " KORVEL_FAULTY_MODULES "on_request.so --only '^laws' ";
  const std::string found = host(faulty + "--seed 5", fault).out;
  EXPECT_NE(found.find("of state 5: entry"), std::string::npos) << found;
  EXPECT_EQ(host(faulty + "--seed 5", fault).out, found);
  EXPECT_NE(host(faulty + "--seed 6", fault).out, found);
  // The command that a finding ends with gives the finding again.
  std::smatch again;
  ASSERT_TRUE(std::regex_search(found, again, std::regex("(FINDING[^\n]*)\n[^\n]*\n *again: korvel-host ([^\n]*)\n")));
  EXPECT_NE(host(again[2].str(), fault).out.find('\n' + again[1].str()), std::string::npos) << again[0];
}

}  // namespace
}  // namespace korvel::validate
