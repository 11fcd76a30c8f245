#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/libraries/batch/module_results.h"

namespace korvel::tests {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool is_sanitized = true;
#elif defined(__has_feature)
constexpr bool is_sanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool is_sanitized = false;
#endif

/// Returns whether a child computes the expected results with an object of its parent and with one of its own, and can
/// destroy both. A signal ends a child that hangs.
bool child_computes(std::unique_ptr<Batch>& of_parent, const States& states, const Results& expected) {
  constexpr unsigned seconds = 120;
  const pid_t child = fork();
  if (child == 0) {
    alarm(seconds);
    std::size_t different = count_different(batch_results(*of_parent, states), expected);
    different += count_different(batch_results(Batch(2), states), expected);
    const bool is_alone = of_parent->threads() == 1;
    of_parent.reset();
    _exit(different == 0 && is_alone ? 0 : 1);
  }
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(Batch, ChildrenOfAProcessWhoseThreadsWorkComputeToo) {
  // AddressSanitizer's allocator does not release its locks in a child: whichever another thread held at the fork is
  // never free again. ThreadSanitizer does not follow a process with threads into a fork.
  if (is_sanitized) GTEST_SKIP() << "sanitizers do not follow a process with threads into a fork";
  const States states = random_states(600, 900);
  const Results expected = batch_results(Batch(1), states);
  auto batch = std::make_unique<Batch>(2);
  // Some forks come while others hold the locks of pools, make and end them.
  std::atomic<bool> done{false};
  std::vector<std::thread> callers;
  for (int i = 0; i < 2; ++i) {
    callers.emplace_back([&] {
      while (!done) batch_results(Batch(2), states);
    });
  }
  constexpr int forks = 12;
  int computed = 0;
  for (int i = 0; i < forks; ++i) computed += child_computes(batch, states, expected) ? 1 : 0;
  done = true;
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(computed, forks);
  EXPECT_EQ(count_different(batch_results(*batch, states), expected), 0U) << "in the parent, after all";
}

}  // namespace
}  // namespace korvel::tests
