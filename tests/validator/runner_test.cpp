// Whatever a check's process does, it is reported in its turn, and the calling process goes on.

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

#include "validator/core/check.h"

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
  CheckVerdict verdict;
  std::string text;
};

const std::string out_of_time = "it does not end within 1 s";

const std::vector<Case> cases{
    {hang, CheckVerdict::finding, out_of_time},
    {[](const Subject& s) { return fmt::format("{} {}", s.module.string(), s.seed); }, CheckVerdict::held, "m.so 7"},
    {[](const Subject&) { return std::string(); }, CheckVerdict::held, ""},
    {[](const Subject&) { return std::string(3 << 20, 'x'); }, CheckVerdict::held, std::string(3 << 20, 'x')},
    {[](const Subject&) { return std::string("a\0b\xff", 4); }, CheckVerdict::held, std::string("a\0b\xff", 4)},
    {[](const Subject&) -> std::string { throw Finding("broken"); }, CheckVerdict::finding, "broken"},
    {[](const Subject&) -> std::string { throw NotPossible("too dark"); }, CheckVerdict::not_possible, "too dark"},
    {[](const Subject&) -> std::string { throw std::logic_error("odd"); }, CheckVerdict::finding,
     "an exception escaped: odd"},
    {[](const Subject&) -> std::string { throw 42; }, CheckVerdict::finding,
     "an exception escaped that is no std::exception"},
    {[](const Subject&) -> std::string { std::_Exit(0); }, CheckVerdict::finding,
     "it ended the process with exit status 0"},
    {[](const Subject&) -> std::string { std::_Exit(3); }, CheckVerdict::finding,
     "it ended the process with exit status 3"},
    {[](const Subject&) -> std::string { std::terminate(); }, CheckVerdict::finding, "it crashed: Aborted"},
    {[](const Subject&) -> std::string {
       kill(getpid(), SIGKILL);
       return "alive";
     },
     CheckVerdict::finding, "it crashed: Killed"},
    {[](const Subject&) -> std::string {
       close_everything();
       return "unheard";
     },
     CheckVerdict::finding, "it ended the process with exit status 0"},
    {[](const Subject& subject) {
       close_everything();
       return hang(subject);
     },
     CheckVerdict::finding, out_of_time},
    {[](const Subject&) -> std::string {
       lie("held");
       _exit(0);
     },
     CheckVerdict::finding, "it ended the process with exit status 0"},
    {[](const Subject&) {
       lie(std::string(100 << 20, 'h'));
       return std::string("drowned");
     },
     CheckVerdict::finding, "it ended the process with exit status 0"},
    // Only the process that was started is heard.
    {[](const Subject&) {
       if (fork() != 0) _exit(0);
       return std::string("the child's");
     },
     CheckVerdict::finding, "it ended the process with exit status 0"},
    {[](const Subject&) {
       if (fork() != 0) {
         wait(nullptr);
         _exit(3);
       }
       return std::string("the child's");
     },
     CheckVerdict::finding, "it ended the process with exit status 3"},
    {[](const Subject&) {
       fork();
       return std::string("once");
     },
     CheckVerdict::held, "once"},
};

Checks checks_of(const std::vector<Case>& all) {
  Checks checks;
  for (std::size_t i = 0; i < all.size(); ++i) {
    // Only what never ends depends on its limit.
    const std::chrono::seconds limit = all[i].text == out_of_time ? 1s : 1h;
    checks.push_back({std::to_string(i), "", all[i].run, limit});
  }
  return checks;
}

TEST(RunChecks, ReportsWhateverAChildDoesInItsTurn) {
  // No jobs are one, and more jobs than checks are as good as one for each.
  for (const unsigned jobs : {0U, 3U, 100U}) {
    std::size_t next = 0;
    run_checks(checks_of(cases), {"m.so", 7}, jobs, [&](const Check& check, const Outcome& outcome) {
      ASSERT_EQ(check.id, std::to_string(next));
      EXPECT_EQ(outcome.verdict, cases[next].verdict) << next << outcome.text;
      EXPECT_EQ(outcome.text, cases[next].text) << next;
      EXPECT_GE(outcome.seconds, 0) << next;
      ++next;
    });
    EXPECT_EQ(next, cases.size());
  }
}

int next_descriptor() {
  const int next = dup(0);
  close(next);
  return next;
}

void expect_nothing_is_left(int descriptor_before) {
  EXPECT_EQ(next_descriptor(), descriptor_before);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process is left";
}

// Neither descriptors nor processes are left: a thousand checks would use them up.
TEST(RunChecks, LeavesNothingBehind) {
  const int before = next_descriptor();
  run_checks(checks_of(std::vector<Case>(1000, cases[1])), {"m.so", 7}, 8, [](const Check&, const Outcome& outcome) {
    ASSERT_EQ(outcome.verdict, CheckVerdict::held) << outcome.text;
  });
  expect_nothing_is_left(before);
}

// A report that throws ends the checks that still run, although one of them never would.
TEST(RunChecks, EndsWithItsReport) {
  const int before = next_descriptor();
  Checks checks = checks_of({cases[1], cases[0]});
  checks[1].limit = 1h;
  EXPECT_THROW(run_checks(checks, {"m.so", 7}, 2, [](const Check&, const Outcome&) { throw 42; }), int);
  expect_nothing_is_left(before);
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
    // The one that hangs gets more time until it has left them.
    for (std::chrono::seconds limit = 1s; left()[1] == 0; limit *= 2) {
      run_checks({{"", "", run, limit}}, {"m.so", 7}, 1, [](const Check&, const Outcome&) {});
    }
    for (const auto& process : left()) {
      EXPECT_GT(process, 0);
      EXPECT_EQ(kill(process, 0), -1) << "a process is left";
    }
  }
}

}  // namespace
}  // namespace korvel::validate
