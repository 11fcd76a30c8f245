// How objects are made, their inertias, and what is told of the robot.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <utility>

#include "tests/libraries/batch/module_results.h"

namespace korvel::tests {
namespace {

using Numbers = std::array<float, KORVEL_BATCH_INERTIA_NUMBERS>;

TEST(Objects, AreMadeWithSetsAndThreadsThatThereAre) {
  korvel_batch* made = nullptr;
  for (const int threads : {-1, 1025, 20'000'000, std::numeric_limits<int>::max()}) {
    EXPECT_EQ(korvel_batch_create(&made, threads, nullptr), KORVEL_BATCH_COUNT) << threads;
  }
  EXPECT_EQ(korvel_batch_create(&made, 1, "mmx"), KORVEL_BATCH_INSTRUCTION_SET);
  EXPECT_NE(std::string(korvel_batch_error()).find("\"mmx\" is none of baseline"), std::string::npos);
  setenv("KORVEL_INSTRUCTION_SET", "abacus", 1);
  EXPECT_EQ(korvel_batch_create(&made, 1, nullptr), KORVEL_BATCH_INSTRUCTION_SET);
  setenv("KORVEL_INSTRUCTION_SET", "baseline", 1);
  EXPECT_STREQ(Batch(1).instruction_set(), "baseline");
  unsetenv("KORVEL_INSTRUCTION_SET");
  EXPECT_EQ(Batch(1).instruction_set(), instruction_sets().back());
  EXPECT_EQ(made, nullptr);
}

TEST(Objects, KeepTheirInertiasWhereOthersAreRefused) {
  korvel_batch* batch = nullptr;
  ASSERT_EQ(korvel_batch_create(&batch, 1, nullptr), KORVEL_BATCH_OK);
  Numbers before;
  ASSERT_EQ(korvel_batch_get_inertias(batch, before.data()), KORVEL_BATCH_OK);
  const float nan = std::nanf("");
  const float zeros[6] = {};
  const float bad[6] = {0, 0, nan, 0, 0, 0};
  // Finite numbers can have moments that are not.
  const float far[3] = {100, 0, 0};
  const struct {
    int body;
    float mass;
    const float *com, *inertia;
    int status;
  } cases[] = {{25, 1, zeros, zeros, KORVEL_BATCH_BODY},   {-1, 1, zeros, zeros, KORVEL_BATCH_BODY},
               {0, 0, zeros, zeros, KORVEL_BATCH_VALUE},   {0, nan, zeros, zeros, KORVEL_BATCH_VALUE},
               {0, 1, bad, zeros, KORVEL_BATCH_VALUE},     {0, 1, zeros, bad, KORVEL_BATCH_VALUE},
               {2, 3e37F, far, zeros, KORVEL_BATCH_VALUE}, {0, 1, nullptr, zeros, KORVEL_BATCH_NULL},
               {0, 1, zeros, nullptr, KORVEL_BATCH_NULL}};
  for (const auto& [body, mass, com, inertia, status] : cases) {
    EXPECT_EQ(korvel_batch_set_inertia(batch, body, mass, com, inertia), status) << body << ", " << mass;
  }
  EXPECT_EQ(korvel_batch_set_inertia(nullptr, 0, 1, zeros, zeros), KORVEL_BATCH_NULL);
  Numbers numbers = before;
  EXPECT_EQ(korvel_batch_get_inertias(nullptr, numbers.data()), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_get_inertias(batch, nullptr), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_set_inertias(nullptr, numbers.data()), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_set_inertias(batch, nullptr), KORVEL_BATCH_NULL);
  for (const std::size_t place : {std::size_t{0}, std::size_t{10 * (bodies - 1)}, numbers.size() - 1}) {
    for (const float none : {0.0F, -1.0F, nan}) {
      const float good = std::exchange(numbers[place], none);
      EXPECT_EQ(korvel_batch_set_inertias(batch, numbers.data()), KORVEL_BATCH_VALUE);
      numbers[place] = good;
    }
  }
  numbers.back() = 1e-30F;
  EXPECT_EQ(korvel_batch_set_inertias(batch, numbers.data()), KORVEL_BATCH_VALUE);
  ASSERT_EQ(korvel_batch_get_inertias(batch, numbers.data()), KORVEL_BATCH_OK);
  EXPECT_EQ(numbers, before);
  EXPECT_EQ(korvel_batch_set_inertias(batch, numbers.data()), KORVEL_BATCH_OK);
  // The total is beyond all floats with the second, and none is left of it without the first.
  ASSERT_EQ(korvel_batch_set_inertia(batch, 3, 3e38F, zeros, zeros), KORVEL_BATCH_OK);
  EXPECT_EQ(korvel_batch_set_inertia(batch, 4, 3e38F, zeros, zeros), KORVEL_BATCH_VALUE);
  EXPECT_NE(std::string(korvel_batch_error()).find("total mass"), std::string::npos) << korvel_batch_error();
  EXPECT_EQ(korvel_batch_set_inertia(batch, 3, 1, zeros, zeros), KORVEL_BATCH_VALUE);
  korvel_batch_destroy(batch);
}

TEST(Objects, KnowTheRobotsBodiesAndEntries) {
  EXPECT_STREQ(korvel_batch_body_name(24), "RWristYaw");
  EXPECT_EQ(korvel_batch_parent(0), -1);
  for (const int none : {25, -1}) {
    EXPECT_EQ(korvel_batch_body_name(none), nullptr);
    EXPECT_EQ(korvel_batch_parent(none), -2);
  }
  int row = 0;
  for (const int none : {240, -1}) EXPECT_EQ(korvel_batch_mass_entry(none, &row, &row), KORVEL_BATCH_COUNT);
  EXPECT_EQ(korvel_batch_mass_entry(0, nullptr, &row), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_derivative_entry(0, 360, &row, &row), KORVEL_BATCH_COUNT);
  EXPECT_EQ(korvel_batch_derivative_entry(1, 450, &row, &row), KORVEL_BATCH_COUNT);
}

}  // namespace
}  // namespace korvel::tests
