#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

#include "tests/libraries/batch/module_results.h"

namespace korvel::tests {
namespace {

constexpr std::ptrdiff_t state_count = 20;
constexpr std::ptrdiff_t huge = std::numeric_limits<std::ptrdiff_t>::max() / 8 * 4;

/// The arguments of a call of every operation. All are good until one is spoilt.
struct Call {
  korvel_batch_input q, dq, ddq;
  korvel_batch_kinematics_results kinematics;
  korvel_batch_output packed, dense, forces;
  korvel_batch_wrench wrenches[2];
  std::ptrdiff_t count = state_count;
  std::ptrdiff_t wrench_count = 2;
};

/// One thing that is wrong, with what must be refused because of it.
struct Fault {
  std::string name;
  std::function<void(Call&)> spoil;
  int status;
  const char* word;  ///< in the sentence
};

class Arguments : public testing::Test {
 protected:
  enum Operation { kinematics, mass, dynamics };

  static int run(const korvel_batch* batch, Operation operation, const Call& call) {
    korvel_batch_force_sums sums;
    switch (operation) {
      case kinematics:
        return korvel_batch_kinematics(batch, call.count, &call.q, &call.kinematics);
      case mass:
        return korvel_batch_mass(batch, call.count, &call.q, nullptr, &call.packed, &call.dense);
      default:
        return korvel_batch_dynamics(batch, call.count, &call.q, &call.dq, &call.ddq, call.wrenches, call.wrench_count,
                                     nullptr, &call.forces, &sums);
    }
  }

  Call good() {
    Call call{};
    const auto out = [](Rows& array) { return rows_to(array.values.data(), array.numbers); };
    call.q = rows_of(states.q.values.data(), coordinates);
    call.dq = rows_of(states.dq.values.data(), coordinates);
    call.ddq = rows_of(states.ddq.values.data(), coordinates);
    call.kinematics = {out(results.poses_root),
                       out(results.poses_world),
                       out(results.com_root),
                       out(results.com_world),
                       out(results.jacobian),
                       nullptr,
                       0};
    call.packed = out(packed);
    call.dense = out(results.mass);
    call.forces = out(results.forces);
    const auto on_bodies = wrenches_of(states);
    call.wrenches[0] = on_bodies[13];
    call.wrenches[1] = on_bodies[19];
    return call;
  }

  void expect_refused(Operation operation, const Fault& fault) {
    Call call = good();
    ASSERT_EQ(run(batch, operation, call), KORVEL_BATCH_OK) << korvel_batch_error();
    fault.spoil(call);
    for (Rows* array : {&results.poses_root, &results.poses_world, &results.com_root, &results.com_world,
                        &results.jacobian, &results.mass, &results.forces, &packed}) {
      std::fill(array->values.begin(), array->values.end(), 77.0F);
    }
    EXPECT_EQ(run(batch, operation, call), fault.status) << fault.name << ": " << korvel_batch_error();
    EXPECT_NE(std::string(korvel_batch_error()).find(fault.word), std::string::npos)
        << fault.name << ": " << korvel_batch_error();
    for (const Rows* array : {&results.poses_root, &results.poses_world, &results.com_root, &results.com_world,
                              &results.jacobian, &results.mass, &results.forces, &packed}) {
      for (const float value : array->values) ASSERT_EQ(value, 77.0F) << fault.name << " was refused, and written";
    }
    ++refused;
  }

  /// What can be wrong with an array that is read.
  static std::vector<Fault> input_faults(const std::string& name, const std::function<korvel_batch_input&(Call&)>& of) {
    std::vector<Fault> faults{
        {name + " has no data", [of](Call& c) { of(c).data = nullptr; }, KORVEL_BATCH_NULL, "data"}};
    for (const int bytes : {1, 2, 3}) {
      faults.push_back({name + " begins between floats",
                        [of, bytes](Call& c) {
                          of(c).data =
                              reinterpret_cast<const float*>(reinterpret_cast<const char*>(of(c).data) + bytes);
                        },
                        KORVEL_BATCH_LAYOUT, "multiple of 4"});
    }
    using Stride = std::ptrdiff_t korvel_batch_input::*;
    const Stride strides[] = {&korvel_batch_input::state, &korvel_batch_input::number, &korvel_batch_input::tile};
    for (const Stride stride : strides) {
      for (const int bytes : {1, -2, 6, 131}) {
        faults.push_back({name + ", stride of no float", [of, stride, bytes](Call& c) { of(c).*stride = bytes; },
                          KORVEL_BATCH_LAYOUT, "multiple of 4"});
      }
      for (const std::ptrdiff_t bytes : {huge, -huge, std::numeric_limits<std::ptrdiff_t>::min()}) {
        faults.push_back({name + ", stride out of memory", [of, stride, bytes](Call& c) { of(c).*stride = bytes; },
                          KORVEL_BATCH_LAYOUT, "memory"});
      }
    }
    return faults;
  }

  /// What can be wrong with an array that is written.
  static std::vector<Fault> output_faults(const std::string& name, std::ptrdiff_t numbers,
                                          const std::function<korvel_batch_output&(Call&)>& of) {
    std::vector<Fault> faults{
        {name + " begins between floats",
         [of](Call& c) { of(c).data = reinterpret_cast<float*>(reinterpret_cast<char*>(of(c).data) + 1); },
         KORVEL_BATCH_LAYOUT, "multiple of 4"}};
    const std::ptrdiff_t row = numbers * 4;
    using Strides = std::array<std::ptrdiff_t, 3>;
    for (const Strides& strides : {Strides{0, 4, 0}, Strides{4, 4, 0}, Strides{row - 4, 4, 0}, Strides{row, 0, 0},
                                   Strides{4 - row, 4, 0}, Strides{4, 4 * state_count - 4, 0}, Strides{4, 60, row * 16},
                                   Strides{4, 64, row * 16 - 4}, Strides{4, 64, 4}}) {
      faults.push_back({name + " overlaps",
                        [of, strides](Call& c) {
                          of(c).state = strides[0];
                          of(c).number = strides[1];
                          of(c).tile = strides[2];
                        },
                        KORVEL_BATCH_LAYOUT, "overlap"});
    }
    for (const std::ptrdiff_t bytes : {std::ptrdiff_t{2}, huge, -huge}) {
      faults.push_back({name + ", stride of no array", [of, bytes](Call& c) { of(c).state = bytes; },
                        KORVEL_BATCH_LAYOUT, "stride"});
    }
    return faults;
  }

  void expect_all_refused(Operation operation, const std::vector<Fault>& faults) {
    for (const Fault& fault : faults) expect_refused(operation, fault);
  }

  void SetUp() override { ASSERT_EQ(korvel_batch_create(&batch, 1, nullptr), KORVEL_BATCH_OK) << korvel_batch_error(); }
  void TearDown() override { korvel_batch_destroy(batch); }

  korvel_batch* batch = nullptr;
  States states = random_states(state_count, 900);
  Results results{state_count};
  Rows packed{state_count, KORVEL_BATCH_MASS_ENTRIES};
  int refused = 0;
};

TEST_F(Arguments, ThatAreBadAreRefusedAndNothingIsWritten) {
  const std::vector<Fault> counts{
      {"no states", [](Call& c) { c.count = 0; }, KORVEL_BATCH_COUNT, "n is 0"},
      {"fewer than none", [](Call& c) { c.count = -1; }, KORVEL_BATCH_COUNT, "n is -1"},
      {"the least number", [](Call& c) { c.count = std::numeric_limits<std::ptrdiff_t>::min(); }, KORVEL_BATCH_COUNT,
       "n is"},
      {"more than a lifetime is long",
       [](Call& c) {
         c.count = huge;
         for (korvel_batch_input* input : {&c.q, &c.dq, &c.ddq}) input->state = 0;
       },
       KORVEL_BATCH_COUNT, "n is"},
      {"more than memory", [](Call& c) { c.count = std::ptrdiff_t{1} << 48; }, KORVEL_BATCH_LAYOUT, "memory"}};
  for (const Operation operation : {kinematics, mass, dynamics}) {
    expect_all_refused(operation, counts);
    expect_all_refused(operation, input_faults("q", [](Call& c) -> korvel_batch_input& { return c.q; }));
  }
  expect_all_refused(dynamics, input_faults("dq", [](Call& c) -> korvel_batch_input& { return c.dq; }));
  expect_all_refused(dynamics, input_faults("ddq", [](Call& c) -> korvel_batch_input& { return c.ddq; }));
  expect_all_refused(dynamics,
                     input_faults("wrench", [](Call& c) -> korvel_batch_input& { return c.wrenches[1].values; }));
  expect_all_refused(kinematics, output_faults(
                                     "poses_root", 300, [](Call & c) -> auto& { return c.kinematics.poses_root; }));
  expect_all_refused(kinematics, output_faults(
                                     "poses_world", 300, [](Call & c) -> auto& { return c.kinematics.poses_world; }));
  expect_all_refused(kinematics, output_faults(
                                     "com_root", 3, [](Call & c) -> auto& { return c.kinematics.com_root; }));
  expect_all_refused(kinematics, output_faults(
                                     "com_world", 3, [](Call & c) -> auto& { return c.kinematics.com_world; }));
  expect_all_refused(kinematics, output_faults(
                                     "jacobian", 180, [](Call & c) -> auto& { return c.kinematics.jacobian; }));
  static constexpr int listed_bodies[]{4, 25};
  expect_all_refused(
      kinematics,
      {{"no list", [](Call& c) { c.kinematics.bodies = listed_bodies; }, KORVEL_BATCH_COUNT, "body_count is 0"},
       {"no such body", [](Call& c) { c.kinematics.bodies = listed_bodies, c.kinematics.body_count = 2; },
        KORVEL_BATCH_BODY, "no body 25"}});
  expect_all_refused(mass, output_faults(
                               "packed", 240, [](Call & c) -> auto& { return c.packed; }));
  expect_all_refused(mass, output_faults(
                               "dense", 900, [](Call & c) -> auto& { return c.dense; }));
  expect_all_refused(dynamics, output_faults(
                                   "forces", 30, [](Call & c) -> auto& { return c.forces; }));
  expect_all_refused(
      dynamics, {{"no such body", [](Call& c) { c.wrenches[0].body = 25; }, KORVEL_BATCH_BODY, "no body 25"},
                 {"no such body", [](Call& c) { c.wrenches[1].body = -1; }, KORVEL_BATCH_BODY, "no body -1"},
                 {"one body twice", [](Call& c) { c.wrenches[1].body = 13; }, KORVEL_BATCH_BODY, "two wrenches"},
                 {"fewer than no wrenches", [](Call& c) { c.wrench_count = -2; }, KORVEL_BATCH_COUNT, "wrench_count"}});
  EXPECT_GE(refused, 200);
}

TEST_F(Arguments, ThatAreNullAreRefused) {
  const Call call = good();
  const auto* none = static_cast<const korvel_batch*>(nullptr);
  for (const Operation operation : {kinematics, mass, dynamics})
    EXPECT_EQ(run(none, operation, call), KORVEL_BATCH_NULL);
  const korvel_batch_kinematics_results nothing{};
  EXPECT_EQ(korvel_batch_kinematics(batch, state_count, nullptr, &call.kinematics), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_kinematics(batch, state_count, &call.q, nullptr), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_kinematics(batch, state_count, &call.q, &nothing), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_mass(batch, state_count, &call.q, nullptr, nullptr, nullptr), KORVEL_BATCH_NULL);
  EXPECT_EQ(
      korvel_batch_dynamics(batch, state_count, &call.q, &call.dq, &call.ddq, nullptr, 0, nullptr, nullptr, nullptr),
      KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_dynamics(batch, state_count, &call.q, &call.dq, &call.ddq, nullptr, 1, nullptr, &call.forces,
                                  nullptr),
            KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_create(nullptr, 1, nullptr), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_instruction_set(nullptr), nullptr);
  EXPECT_EQ(korvel_batch_threads(nullptr), 0);
  korvel_batch_destroy(nullptr);
}

TEST_F(Arguments, OfAnObjectAndItsInertiasAreChecked) {
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

  const float good_com[3] = {};
  const float good_inertia[6] = {};
  const float bad[6] = {0, 0, std::nanf(""), 0, 0, 0};
  const auto set = [&](int body, float kilograms, const float* com, const float* inertia) {
    return korvel_batch_set_inertia(batch, body, kilograms, com, inertia);
  };
  const Call call = good();
  ASSERT_EQ(run(batch, dynamics, call), KORVEL_BATCH_OK);
  const Rows before = results.forces;
  EXPECT_EQ(korvel_batch_set_inertia(nullptr, 0, 1, good_com, good_inertia), KORVEL_BATCH_NULL);
  EXPECT_EQ(set(25, 1, good_com, good_inertia), KORVEL_BATCH_BODY);
  EXPECT_EQ(set(-1, 1, good_com, good_inertia), KORVEL_BATCH_BODY);
  EXPECT_EQ(set(0, 0, good_com, good_inertia), KORVEL_BATCH_VALUE);
  EXPECT_EQ(set(0, std::nanf(""), good_com, good_inertia), KORVEL_BATCH_VALUE);
  EXPECT_EQ(set(0, 1, bad, good_inertia), KORVEL_BATCH_VALUE);
  EXPECT_EQ(set(0, 1, good_com, bad), KORVEL_BATCH_VALUE);
  // Finite numbers can have moments that are not.
  const float far[3] = {100, 0, 0};
  EXPECT_EQ(set(2, 3e37F, far, good_inertia), KORVEL_BATCH_VALUE);
  EXPECT_EQ(set(0, 1, nullptr, good_inertia), KORVEL_BATCH_NULL);
  EXPECT_EQ(set(0, 1, good_com, nullptr), KORVEL_BATCH_NULL);
  // The total is beyond all floats with the second, and none is left of it without the first.
  korvel_batch* heavy = nullptr;
  ASSERT_EQ(korvel_batch_create(&heavy, 1, nullptr), KORVEL_BATCH_OK);
  ASSERT_EQ(korvel_batch_set_inertia(heavy, 3, 3e38F, good_com, good_inertia), KORVEL_BATCH_OK);
  EXPECT_EQ(korvel_batch_set_inertia(heavy, 4, 3e38F, good_com, good_inertia), KORVEL_BATCH_VALUE);
  EXPECT_NE(std::string(korvel_batch_error()).find("total mass"), std::string::npos) << korvel_batch_error();
  EXPECT_EQ(korvel_batch_set_inertia(heavy, 3, 1, good_com, good_inertia), KORVEL_BATCH_VALUE);
  korvel_batch_destroy(heavy);
  float numbers[KORVEL_BATCH_INERTIA_NUMBERS];
  ASSERT_EQ(korvel_batch_get_inertias(batch, numbers), KORVEL_BATCH_OK);
  EXPECT_EQ(korvel_batch_get_inertias(nullptr, numbers), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_get_inertias(batch, nullptr), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_set_inertias(nullptr, numbers), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_set_inertias(batch, nullptr), KORVEL_BATCH_NULL);
  for (const int place : {0, 10 * (KORVEL_BATCH_BODIES - 1), KORVEL_BATCH_INERTIA_NUMBERS - 1}) {
    for (const float none : {0.0F, -1.0F, std::nanf("")}) {
      const float good = std::exchange(numbers[place], none);
      EXPECT_EQ(korvel_batch_set_inertias(batch, numbers), KORVEL_BATCH_VALUE);
      numbers[place] = good;
    }
  }
  const float total = std::exchange(numbers[KORVEL_BATCH_INERTIA_NUMBERS - 1], 1e-30F);
  EXPECT_EQ(korvel_batch_set_inertias(batch, numbers), KORVEL_BATCH_VALUE);
  numbers[KORVEL_BATCH_INERTIA_NUMBERS - 1] = total;
  EXPECT_EQ(korvel_batch_set_inertias(batch, numbers), KORVEL_BATCH_OK);
  ASSERT_EQ(run(batch, dynamics, call), KORVEL_BATCH_OK);
  EXPECT_EQ(count_different(results.forces, before), 0U);
}

TEST_F(Arguments, ThatNameNothingOfTheRobotAreAnsweredSo) {
  EXPECT_STREQ(korvel_batch_body_name(0), "Torso");
  EXPECT_STREQ(korvel_batch_body_name(24), "RWristYaw");
  EXPECT_EQ(korvel_batch_body_name(25), nullptr);
  EXPECT_EQ(korvel_batch_body_name(-1), nullptr);
  EXPECT_EQ(korvel_batch_parent(0), -1);
  EXPECT_EQ(korvel_batch_parent(3), 0);
  EXPECT_EQ(korvel_batch_parent(25), -2);
  int row = 0;
  int column = 0;
  EXPECT_EQ(korvel_batch_mass_entry(240, &row, &column), KORVEL_BATCH_COUNT);
  EXPECT_EQ(korvel_batch_mass_entry(-1, &row, &column), KORVEL_BATCH_COUNT);
  EXPECT_EQ(korvel_batch_mass_entry(0, nullptr, &column), KORVEL_BATCH_NULL);
}

}  // namespace
}  // namespace korvel::tests
