#include <gtest/gtest.h>

#include <thread>

#include "tests/libraries/batch/module_results.h"

namespace korvel::tests {
namespace {

#if defined(KORVEL_SANITIZED)
constexpr std::ptrdiff_t many = 1000;  // what is watched is slow
#else
constexpr std::ptrdiff_t many = 10000;
#endif

// Without a name, the set follows the number of states.
void expect_bits_of_the_module(std::ptrdiff_t n) {
  const Module module{module_path()};
  const System robot = module.create();
  const States states = random_states(n, 100);
  const Results chosen = batch_results(Batch(1), states);
  const Results expected = module_results(states, *robot, chosen.forces);
  EXPECT_EQ(count_different(chosen, expected), 0U) << n;
  for (const std::string& set : instruction_sets()) {
    EXPECT_EQ(count_different(batch_results(Batch(1, set.c_str()), states), expected), 0U) << set << ", " << n;
  }
}

TEST(Batch, HasTheModulesBits) { expect_bits_of_the_module(many); }

// A block of lanes that is not full repeats its last state, and shows none of it.
TEST(Batch, HasTheModulesBitsForAnyNumberOfStates) {
  for (std::ptrdiff_t n = 1; n <= 40; ++n) expect_bits_of_the_module(n);
}

// The module's table changes with the same call; other objects keep theirs.
TEST(Batch, HasTheModulesBitsWithOtherInertias) {
  const States states = random_states(100, 200);
  Module module{module_path()};
  const System robot = module.create();
  const Results before = batch_results(Batch(1), states);
  for (const std::string& set : instruction_sets()) {
    Batch changed(1, set.c_str());
    const Batch untouched(1, set.c_str());
    for (int b = 0; b < bodies; ++b) {
      const float k = 1 + 0.01F * static_cast<float>(b);
      const float com[3] = {0.01F * k, -0.02F, 0.03F};
      const float inertia[6] = {1e-3F * k, 1e-5F, 2e-3F, -1e-5F, 2e-5F, 3e-3F};
      changed.set_inertia(b, 0.1F * k, com, inertia);
      Eigen::Matrix3f matrix;
      matrix << inertia[0], 0, 0, inertia[1], inertia[2], 0, inertia[3], inertia[4], inertia[5];
      if (set == "baseline")
        robot->setBodyInertia(static_cast<unsigned long>(b), 0.1F * k, {com[0], com[1], com[2]}, matrix);
    }
    const Results results = batch_results(changed, states);
    EXPECT_EQ(count_different(results, module_results(states, *robot, results.forces)), 0U) << set;
    EXPECT_EQ(count_different(batch_results(untouched, states), before), 0U) << set;
  }
}

TEST(Batch, KeepsInertiasThatSeveralThreadsSetWhileItComputes) {
  const States states = random_states(600, 300);
  Batch batch(2);
  Batch expected(1);
  const float com[3] = {};
  const float inertia[6] = {1, 0, 1, 0, 0, 1};
  std::vector<std::thread> setters;
  for (const int body : {3, 13, 19}) {
    expected.set_inertia(body, 2, com, inertia);
    setters.emplace_back([&, body] {
      for (int i = 1; i <= 2000; ++i) batch.set_inertia(body, i % 2 == 0 ? 2 : 1, com, inertia);
    });
  }
  for (int i = 0; i < 20; ++i) batch_results(batch, states);
  for (std::thread& setter : setters) setter.join();
  EXPECT_EQ(count_different(batch_results(batch, states).mass, batch_results(expected, states).mass), 0U);
}

}  // namespace
}  // namespace korvel::tests
