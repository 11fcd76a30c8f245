// Whatever a check's process does, it is reported in its turn, and the calling process goes on.

#include "host/validate/core/runner.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <new>
#include <string_view>

namespace korvel::validate {
namespace {

using namespace std::chrono_literals;

void close_everything() {
  for (int file = 3; file < 64; ++file) close(file);
}

/// As if it had been the validator, to whoever may listen.
void lie(std::string_view words) {
  for (int file = 3; file < 64; ++file) {
    if (write(file, words.data(), words.size()) < 0) continue;
  }
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
    {hang, Verdict::finding, "it does not end within 1 s"},
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
    {[](const Subject&) -> std::string { std::_Exit(0); }, Verdict::finding, "it ended the process with exit status 0"},
    {[](const Subject&) -> std::string { std::_Exit(3); }, Verdict::finding, "it ended the process with exit status 3"},
    {[](const Subject&) -> std::string { std::terminate(); }, Verdict::finding, "it crashed: Aborted"},
    {[](const Subject&) -> std::string {
       kill(getpid(), SIGKILL);
       return "alive";
     },
     Verdict::finding, "it crashed: Killed"},
    {[](const Subject&) -> std::string {
       close_everything();
       return "unheard";
     },
     Verdict::finding, "it ended the process with exit status 0"},
    {[](const Subject& subject) {
       close_everything();
       return hang(subject);
     },
     Verdict::finding, "it does not end within 1 s"},
    {[](const Subject&) -> std::string {
       lie("held");
       _exit(0);
     },
     Verdict::finding, "it ended the process with exit status 0"},
    {[](const Subject&) {
       lie(std::string(100 << 20, 'h'));
       return std::string("drowned");
     },
     Verdict::finding, "it ended the process with exit status 0"},
    // Only the process that was started is heard.
    {[](const Subject&) {
       if (fork() != 0) _exit(0);
       return std::string("the child's");
     },
     Verdict::finding, "it ended the process with exit status 0"},
    {[](const Subject&) {
       if (fork() != 0) {
         wait(nullptr);
         _exit(3);
       }
       return std::string("the child's");
     },
     Verdict::finding, "it ended the process with exit status 3"},
    {[](const Subject&) {
       fork();
       return std::string("once");
     },
     Verdict::held, "once"},
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

/// Memory that all processes share: who has been left.
std::array<std::atomic<pid_t>, 2>& left() {
  static auto* const shared = new (mmap(nullptr, sizeof(std::array<std::atomic<pid_t>, 2>), PROT_READ | PROT_WRITE,
                                        MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::array<std::atomic<pid_t>, 2>{};
  return *shared;
}

/// Leaves a process that has withdrawn and that only SIGKILL ends, and one of that process's own.
void leave_processes() {
  if (fork() != 0) {
    while (left()[1] == 0) usleep(1000);
    return;
  }
  setsid();
  for (int number = 1; number < NSIG; ++number) std::signal(number, SIG_IGN);
  const bool is_first = fork() != 0;
  left()[is_first ? 0 : 1] = getpid();
  sleep(60);
  _exit(0);
}

TEST(RunChecks, EndsWhatACheckHasStarted) {
  for (const auto run : {+[](const Subject&) {
                           leave_processes();
                           return std::string("held");
                         },
                         +[](const Subject&) -> std::string {
                           leave_processes();
                           std::abort();
                         },
                         +[](const Subject& subject) {
                           leave_processes();
                           return hang(subject);
                         }}) {
    for (auto& process : left()) process = 0;
    run_checks(checks_of({{run, Verdict::held, ""}}), {"m.so", 7}, 1, [](const Check&, const Outcome&) {});
    for (const auto& process : left()) {
      EXPECT_GT(process, 0);
      EXPECT_EQ(kill(process, 0), -1) << "a process is left";
    }
  }
}

}  // namespace
}  // namespace korvel::validate
