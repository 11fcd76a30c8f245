// Whatever a check's process does, it is reported in its turn, and the calling process goes on.

#include "host/validate/core/runner.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace korvel::validate {
namespace {

using namespace std::chrono_literals;

void close_everything() {
  for (int file = 3; file < 64; ++file) close(file);
}

std::string hang(const Subject&) {
  for (;;) pause();
}

struct Case {
  std::string (*run)(const Subject&);
  Verdict verdict;
  std::string text;
};

const std::vector<Case> cases{
    {hang, Verdict::finding, "still running after 1 s"},
    {[](const Subject& s) { return fmt::format("{} {}", s.module.string(), s.seed); }, Verdict::held, "m.so 7"},
    {[](const Subject&) { return std::string(); }, Verdict::held, ""},
    {[](const Subject&) { return std::string(3 << 20, 'x'); }, Verdict::held, std::string(3 << 20, 'x')},
    {[](const Subject&) { return std::string("a\0b\xff", 4); }, Verdict::held, std::string("a\0b\xff", 4)},
    {[](const Subject&) -> std::string { throw Finding("broken"); }, Verdict::finding, "broken"},
    {[](const Subject&) -> std::string { throw NotPossible("too dark"); }, Verdict::not_possible, "too dark"},
    {[](const Subject&) -> std::string { throw std::logic_error("odd"); }, Verdict::finding,
     "an exception escaped: odd"},
    {[](const Subject&) -> std::string { throw 42; }, Verdict::finding,
     "an exception escaped that is no std::exception"},
    {[](const Subject&) -> std::string { std::_Exit(0); }, Verdict::finding,
     "the process was ended with exit status 0"},
    {[](const Subject&) -> std::string { std::_Exit(3); }, Verdict::finding,
     "the process was ended with exit status 3"},
    {[](const Subject&) -> std::string { std::terminate(); }, Verdict::finding, "crashed: Aborted"},
    {[](const Subject&) -> std::string {
       kill(getpid(), SIGKILL);
       return "alive";
     },
     Verdict::finding, "crashed: Killed"},
    {[](const Subject&) -> std::string {
       close_everything();
       return "unheard";
     },
     Verdict::finding, "the process was ended with exit status 0"},
    {[](const Subject& subject) {
       close_everything();
       return hang(subject);
     },
     Verdict::finding, "still running after 1 s"},
};

Checks checks_of(const std::vector<Case>& all) {
  Checks checks;
  for (std::size_t i = 0; i < all.size(); ++i) checks.push_back({std::to_string(i), "", 1, 1s, all[i].run});
  return checks;
}

TEST(RunChecks, ReportsWhateverAChildDoesInItsTurn) {
  // More jobs than checks are as good as one for each.
  for (const unsigned jobs : {1U, 3U, 100U}) {
    std::size_t next = 0;
    run_checks(checks_of(cases), {"m.so", 7}, jobs, [&](const Check& check, const Outcome& outcome) {
      ASSERT_EQ(check.id, std::to_string(next));
      EXPECT_EQ(outcome.verdict, cases[next].verdict) << next << outcome.text;
      EXPECT_EQ(outcome.text, cases[next].text) << next;
      EXPECT_TRUE(outcome.seconds >= 0 && outcome.seconds < 30) << next;
      ++next;
    });
    EXPECT_EQ(next, cases.size());
  }
}

// No jobs are one, and nothing is reported of nothing.
TEST(RunChecks, RunsWithoutJobsAndWithoutChecks) {
  int reported = 0;
  const auto report = [&](const Check&, const Outcome&) { ++reported; };
  run_checks({}, {"m.so", 7}, 2, report);
  EXPECT_EQ(reported, 0);
  run_checks(checks_of({cases[1], cases[1]}), {"m.so", 7}, 0, report);
  EXPECT_EQ(reported, 2);
}

// Neither descriptors nor processes are left: a thousand checks would use them up.
TEST(RunChecks, LeavesNothingBehind) {
  const int before = dup(0);
  close(before);
  run_checks(checks_of(std::vector<Case>(1000, cases[1])), {"m.so", 7}, 8,
             [](const Check&, const Outcome& outcome) { ASSERT_EQ(outcome.verdict, Verdict::held) << outcome.text; });
  const int after = dup(0);
  close(after);
  EXPECT_EQ(after, before);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process is left";
}

}  // namespace
}  // namespace korvel::validate
