#include <gtest/gtest.h>
#include <sched.h>

#include <cmath>
#include <limits>
#include <thread>

#include "tests/libraries/batch/module_results.h"

namespace korvel::tests {
namespace {

constexpr std::ptrdiff_t float_size = sizeof(float);

/// Strides of n states with `numbers` numbers each in an array of `size` floats, the first number at `begin`.
struct Layout {
  const char* name;
  std::ptrdiff_t begin, state, number, tile, size;
};

std::vector<Layout> layouts(std::ptrdiff_t n, std::ptrdiff_t numbers) {
  const std::ptrdiff_t tile_count = (n - 1) / KORVEL_BATCH_TILE + 1;
  const std::ptrdiff_t padded = n + 5;
  return {
      {"rows", 0, numbers, 1, 0, n * numbers},
      {"rows with gaps", 2, numbers + 3, 1, 0, n * (numbers + 3)},
      {"rows upwards", (n - 1) * numbers, -numbers, 1, 0, n * numbers},
      {"numbers backwards", numbers - 1, numbers, -1, 0, n * numbers},
      {"columns", 0, 1, padded, 0, padded * numbers},
      {"columns from the last state", n - 1, -1, padded, 0, padded * numbers},
      {"tiles", 0, 1, KORVEL_BATCH_TILE, KORVEL_BATCH_TILE * numbers, tile_count * KORVEL_BATCH_TILE * numbers},
      {"tiles of rows", 0, numbers, 1, KORVEL_BATCH_TILE * numbers + 7, tile_count * (KORVEL_BATCH_TILE * numbers + 7)},
      {"every other number", 0, 2 * numbers, 2, 0, 2 * n * numbers}};
}

/// Numbers in some layout.
struct Array {
  Array(std::ptrdiff_t n, int number_count, std::size_t layout)
      : count(n), numbers(number_count), as(layouts(n, number_count)[layout]) {
    values.assign(static_cast<std::size_t>(as.size), untouched);
  }
  Array(const Rows& rows, std::ptrdiff_t n, std::size_t layout) : Array(n, rows.numbers, layout) {
    for (std::ptrdiff_t s = 0; s < n; ++s) {
      for (int k = 0; k < numbers; ++k) values[place(s, k)] = rows.of_state(s)[k];
    }
  }

  std::size_t place(std::ptrdiff_t s, std::ptrdiff_t k) const {
    const bool tiled = as.tile != 0;
    const std::ptrdiff_t tile = tiled ? s / KORVEL_BATCH_TILE : 0;
    const std::ptrdiff_t in_tile = tiled ? s % KORVEL_BATCH_TILE : s;
    return static_cast<std::size_t>(as.begin + tile * as.tile + in_tile * as.state + k * as.number);
  }
  korvel_batch_input input() const {
    return {values.data() + as.begin, as.state * float_size, as.number * float_size, as.tile * float_size};
  }
  korvel_batch_output output() {
    return {values.data() + as.begin, as.state * float_size, as.number * float_size, as.tile * float_size};
  }

  /// The numbers as rows. All else must be as it was.
  Rows as_rows() {
    Rows rows(count, numbers);
    for (std::ptrdiff_t s = 0; s < count; ++s) {
      for (int k = 0; k < numbers; ++k) {
        rows.of_state(s)[k] = values[place(s, k)];
        values[place(s, k)] = untouched;
      }
    }
    for (const float value : values) EXPECT_EQ(value, untouched) << "written between the results, " << as.name;
    return rows;
  }

  static constexpr float untouched = -12345;
  std::ptrdiff_t count;
  int numbers;
  Layout as;
  std::vector<float> values;
};

class Layouts : public testing::TestWithParam<std::string> {
 protected:
  Batch batch{1, GetParam().c_str()};
};

void expect_same_results_in_every_layout(const Batch& batch, std::ptrdiff_t n) {
  const States states = random_states(n, 300);
  const Results expected = batch_results(batch, states);
  const std::size_t layout_count = layouts(1, 1).size();
  for (std::size_t in = 0; in < layout_count; ++in) {
    // Each input layout with one output layout, each of which has its turn.
    const std::size_t out = (in + 4) % layout_count;
    const Array q(states.q, n, in);
    const Array dq(states.dq, n, (in + 1) % layout_count);
    const Array ddq(states.ddq, n, (in + 2) % layout_count);
    std::vector<Array> arrays;
    for (const Rows* rows : expected.all()) arrays.emplace_back(n, rows->numbers, (out + arrays.size()) % layout_count);
    batch.kinematics(n, q.input(),
                     {arrays[0].output(), arrays[1].output(), arrays[2].output(), arrays[3].output(),
                      arrays[4].output(), nullptr, 0});
    batch.mass_packed(n, q.input(), arrays[5].output());
    batch.mass_dense(n, q.input(), arrays[6].output());
    batch.dynamics(n, q.input(), dq.input(), ddq.input(), arrays[7].output(), wrenches_of(states));
    for (std::size_t i = 0; i < arrays.size(); ++i) {
      EXPECT_EQ(count_different(arrays[i].as_rows(), *expected.all()[i]), 0U)
          << q.as.name << " to " << arrays[i].as.name << ", result " << i;
    }
    // Some of these poses.
    Array listed(n, 2 * 12, out);
    const int bodies_listed[]{3, 24};
    batch.kinematics(n, q.input(), {{}, listed.output(), {}, {}, {}, bodies_listed, 2});
    Rows some(n, 2 * 12);
    for (std::ptrdiff_t s = 0; s < n; ++s) {
      for (int k = 0; k < 24; ++k) some.of_state(s)[k] = expected.poses_world.of_state(s)[k < 12 ? 36 + k : 276 + k];
    }
    EXPECT_EQ(count_different(listed.as_rows(), some), 0U) << listed.as.name;
  }
}

TEST_P(Layouts, DoNotChangeResults) { expect_same_results_in_every_layout(batch, 3 * KORVEL_BATCH_TILE + 5); }

// These go another way into memory.
TEST(Batch, LayoutsDoNotChangeResultsThatNoCacheHolds) {
  expect_same_results_in_every_layout(Batch(2), 180 * KORVEL_BATCH_TILE + 5);
}

TEST_P(Layouts, WhatIsNotFiniteStaysInItsState) {
  const std::ptrdiff_t n = 2 * KORVEL_BATCH_TILE;
  const States states = random_states(n, 600);
  const Results expected = batch_results(batch, states);
  States wild = states;
  wild.q.of_state(5)[12] = std::numeric_limits<float>::quiet_NaN();
  wild.q.of_state(6)[12] = 3e30F;  // beyond what the polynomials of the sines take
  wild.ddq.of_state(7)[20] = std::numeric_limits<float>::infinity();
  Results results = batch_results(batch, wild);
  EXPECT_TRUE(std::isnan(results.forces.of_state(5)[12]));
  EXPECT_TRUE(std::isfinite(results.forces.of_state(6)[12]));
  for (std::size_t i = 0; i < expected.all().size(); ++i) {
    for (std::ptrdiff_t s = 0; s < n; ++s) {
      if (s >= 5 && s <= 7) continue;
      for (int k = 0; k < expected.all()[i]->numbers; ++k) {
        ASSERT_EQ(results.all()[i]->of_state(s)[k], expected.all()[i]->of_state(s)[k]) << i << ", state " << s;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Batch, Layouts, testing::ValuesIn(instruction_sets()),
                         [](const auto& instance) { return instance.param; });

korvel_batch_force_sums sums_of(const Batch& batch, const States& states) {
  return batch.force_sums(states.count, input(states.q), input(states.dq), input(states.ddq), wrenches_of(states));
}

TEST(Batch, SumsAreThoseOfTheForces) {
  const States states = random_states(3000, 700);
  const Rows forces = batch_results(Batch(1), states).forces;
  const korvel_batch_force_sums expected = sums_of(Batch(1), states);
  for (int d = 0; d < coordinates; ++d) {
    float largest = 0;
    double squares = 0;
    for (std::ptrdiff_t s = 0; s < states.count; ++s) {
      const float force = forces.of_state(s)[d];
      largest = std::max(largest, std::abs(force));
      squares += static_cast<double>(force) * static_cast<double>(force);
    }
    EXPECT_EQ(expected.largest[d], largest);
    EXPECT_NEAR(expected.squares[d], squares, 3000 * 0x1p-53 * squares);
  }
  for (const std::string& set : instruction_sets()) {
    for (const int threads : {1, 2, 5}) {
      const korvel_batch_force_sums sums = sums_of(Batch(threads, set.c_str()), states);
      EXPECT_TRUE(std::equal(sums.largest, sums.largest + coordinates, expected.largest)) << set << ", " << threads;
      EXPECT_TRUE(std::equal(sums.squares, sums.squares + coordinates, expected.squares)) << set << ", " << threads;
    }
  }
}

TEST(Batch, ThreadsDoNotChangeResults) {
  const States states = random_states(4000, 800);
  const Results expected = batch_results(Batch(1), states);
  for (const int threads : {0, 2, 3, 7}) {
    EXPECT_EQ(count_different(batch_results(Batch(threads), states), expected), 0U) << threads;
  }
  // One object for all threads of the caller, while another one makes objects and ends them.
  const Batch shared(2);
  std::vector<std::size_t> different(3, 1);
  std::vector<std::thread> callers;
  for (std::size_t& count : different) {
    callers.emplace_back([&] { count = count_different(batch_results(shared, states), expected); });
  }
  for (int i = 0; i < 3; ++i) EXPECT_EQ(count_different(batch_results(Batch(2), states), expected), 0U);
  for (std::thread& caller : callers) caller.join();
  for (const std::size_t count : different) EXPECT_EQ(count, 0U);
}

TEST(Batch, TakesAsManyThreadsAsTheProcessMayUse) {
  cpu_set_t before;
  ASSERT_EQ(sched_getaffinity(0, sizeof before, &before), 0);
  EXPECT_EQ(Batch().threads(), CPU_COUNT(&before));
  cpu_set_t one;
  CPU_ZERO(&one);
  for (std::size_t cpu = 0; cpu < CPU_SETSIZE && CPU_COUNT(&one) == 0; ++cpu) {
    if (CPU_ISSET(cpu, &before)) CPU_SET(cpu, &one);
  }
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  EXPECT_EQ(Batch().threads(), 1);
  EXPECT_EQ(Batch(3).threads(), 3);
  sched_setaffinity(0, sizeof before, &before);
}

}  // namespace
}  // namespace korvel::tests
