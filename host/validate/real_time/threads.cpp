#include <fmt/format.h>

#include <future>

#include "host/validate/core/require.h"
#include "host/validate/real_time/real_time.h"
#include "states/shown.h"

namespace korvel::validate {

namespace {

constexpr unsigned threads = 8;
constexpr std::uint64_t states_of_each = 25;
constexpr int rounds = 200;

std::string own_objects(const Subject& subject) {
  const host::Module module(subject.module);
  const host::System serial = module.create();
  std::vector<host::System> robots;
  std::vector<std::vector<State>> states(threads);
  std::vector<std::vector<float>> expected;
  for (unsigned thread = 0; thread < threads; ++thread) {
    robots.push_back(module.create());
    const std::uint64_t first = subject.seed + states_of_each * thread;
    for (std::uint64_t i = 0; i < states_of_each; ++i) states[thread].push_back(random_state(first + i, *serial));
    expected.push_back(everything_after_each(states[thread], *serial));
  }

  std::promise<void> start;
  std::shared_future<void> started = start.get_future().share();
  std::vector<std::future<void>> running;
  for (unsigned thread = 0; thread < threads; ++thread) {
    running.push_back(std::async(std::launch::async, [&, thread, started] {
      started.wait();
      for (int round = 0; round < rounds; ++round) {
        require(same_bits(everything_after_each(states[thread], *robots[thread]), expected[thread]),
                "thread {} of {}, round {}: not the bits of a single thread", thread, threads, round);
      }
    }));
  }
  start.set_value();
  for (std::future<void>& thread : running) thread.get();
  return fmt::format("{} threads, {} states, {} rounds: the bits of a single thread", threads, states_of_each, rounds);
}

}  // namespace

Checks thread_checks() {
  return {{"threads.own-objects", "Threads that use an object each do not disturb one another.", 4,
           std::chrono::seconds(60), own_objects}};
}

}  // namespace korvel::validate
