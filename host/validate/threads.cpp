#include <fmt/format.h>

#include <future>

#include "host/module.h"
#include "host/validate/real_time.h"
#include "host/validate/states.h"

namespace korvel::validate {

namespace {

constexpr unsigned threads = 8;
constexpr std::uint64_t states = 25;
constexpr int rounds = 200;

/// All that an object shows while it goes through the states of one thread.
std::vector<float> shown(tesk::RigidBodySystem& robot, std::uint64_t seed, unsigned thread) {
  std::vector<float> all;
  for (std::uint64_t i = 0; i < states; ++i) {
    compute(random_state(seed + states * thread + i), robot);
    const std::vector<float> now = everything_readable(robot);
    all.insert(all.end(), now.begin(), now.end());
  }
  return all;
}

std::string ownObjects(const Subject& subject) {
  const host::Module module(subject.module);
  const host::System serial = module.create();
  std::vector<host::System> robots;
  std::vector<std::vector<float>> expected;
  for (unsigned thread = 0; thread < threads; ++thread) {
    robots.push_back(module.create());
    expected.push_back(shown(*serial, subject.seed, thread));
  }

  std::promise<void> start;
  std::shared_future<void> started = start.get_future().share();
  std::vector<std::future<void>> running;
  for (unsigned thread = 0; thread < threads; ++thread) {
    running.push_back(std::async(std::launch::async, [&, thread, started] {
      started.wait();
      for (int round = 0; round < rounds; ++round) {
        if (!same_bits(shown(*robots[thread], subject.seed, thread), expected[thread])) {
          throw Finding(
              fmt::format("thread {} of {}, round {}: not the bits of a single thread", thread, threads, round));
        }
      }
    }));
  }
  start.set_value();
  for (std::future<void>& thread : running) thread.get();
  return fmt::format("{} threads, {} states, {} rounds: the bits of a single thread", threads, states, rounds);
}

}  // namespace

Checks threadChecks() {
  return {{"threads.own-objects", "Threads that use an object each do not disturb one another.", 4,
           std::chrono::seconds(60), ownObjects}};
}

}  // namespace korvel::validate
