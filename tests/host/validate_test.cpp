#include <nlohmann/json.hpp>

#include "host/module.h"
#include "host/validate/runner.h"
#include "tests/host/command.h"

namespace korvel::validate {
namespace {

using namespace std::chrono_literals;

class Validate : public host::CommandTest {
 protected:
  /// What `--json` has written.
  nlohmann::json outcomes() const { return nlohmann::json::parse(host::read(directory_ / "out.json")); }
};

TEST_F(Validate, TheModulesKeepTheirPromises) {
  for (const char* module : {KORVEL_MODULE, KORVEL_PER_BODY_MODULE}) {
    const Outcome outcome = host(fmt::format("validate {} --level 2 --jobs 3 --json out.json", module));
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    // All that are listed, in that order, and all of the state.
    const std::string listed = host("validate --level 2 --list").out;
    const auto all = outcomes();
    EXPECT_EQ(all["findings"], 0);
    std::size_t at = 0;
    for (const auto& check : all["checks"]) {
      at = listed.find(check["id"].get<std::string>() + ' ', at);
      ASSERT_NE(at, std::string::npos) << check;
      if (check["level"] == 2) {
        EXPECT_EQ(check["verdict"], "held") << check;
      }
    }
    EXPECT_GE(all["checks"].size(), 30U);
  }
}

TEST_F(Validate, FaultyModulesAreReported) {
  struct Fault {
    const char *name, *checks, *words;
  };
  constexpr Fault faults[] = {{"crash", "^loading.loads$", "crashed: Aborted"},
                              {"exit", "^loading.loads$", "ended with exit status 0"},
                              {"throw", "^loading.loads$", "an exception escaped: out of order"},
                              {"swapped", "^state.joint-setters$", "joint velocity 0 reads"},
                              {"shared", "^state.clone-independence$", "a change of the clone"},
                              {"halves", "^laws\\.", ""},
                              {"gravity", "^laws\\.", ""},
                              {"allocation", "^real-time\\.", ""}};
  for (const auto& [name, checks, words] : faults) {
    const Outcome outcome =
        host(fmt::format("validate {}{}.so --only '{}' --json out.json", KORVEL_FAULTY_MODULES, name, checks));
    EXPECT_EQ(outcome.status, 1) << name << outcome.out << outcome.err;
    EXPECT_NE(outcome.out.find(words), std::string::npos) << name << outcome.out;
    EXPECT_GE(outcomes()["findings"], 1) << name;
  }
}

// The process that hangs is ended, and those that are done wait for their turn to be reported.
TEST(RunChecks, AHangIsReportedInItsTurn) {
  const auto loads = [](const Subject& subject) -> std::string {
    host::Module(subject.module).create();
    return "loaded";
  };
  const auto quick = [](const Subject&) -> std::string { return "done"; };
  std::string order;
  runChecks({{"a", "", 1, 30s, quick}, {"b", "", 1, 1s, loads}, {"c", "", 1, 30s, quick}},
            {KORVEL_FAULTY_MODULES "hang.so", 1}, 3,
            [&](const Check& check, const auto& outcome) { order += fmt::format("{}: {}. ", check.id, outcome.text); });
  EXPECT_EQ(order, "a: done. b: still running after 1 s. c: done. ");
}

}  // namespace
}  // namespace korvel::validate
