#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "tests/libraries/batch/module_results.h"

namespace korvel::tests {
namespace {

constexpr std::ptrdiff_t state_count = 20;
constexpr std::ptrdiff_t huge = std::numeric_limits<std::ptrdiff_t>::max() / 8 * 4;

/// The arguments of a call of every operation. All are good until one is spoilt.
struct Call {
  korvel_batch_input q, dq, ddq, weights, wrench;
  korvel_batch_output poses_root, poses_world, com_root, com_world, jacobian, packed, dense, forces;
  std::vector<int> bodies;
  int wrench_bodies[2] = {13, 19};
  const float* armature = nullptr;
  korvel_batch_point point = {24, {0.05F, -0.02F, 0.1F}, {}, {}};
  std::ptrdiff_t count = state_count, wrench_count = 2, point_count = 1;
};

/// One thing that is wrong, with what must be refused because of it.
struct Fault {
  std::string name;
  std::function<void(Call&)> spoil;
  int status;
  const char* word;  ///< in the sentence
};

enum Operation { kinematics, mass, dynamics, derivatives, gradient, forward, momentum, points };
constexpr Operation all[] = {kinematics, mass, dynamics, derivatives, gradient, forward, momentum, points};
constexpr Operation moving[] = {dynamics, derivatives, gradient, forward, momentum};
constexpr Operation loaded[] = {dynamics, derivatives, gradient, forward};
constexpr Operation with_rotors[] = {mass, dynamics, forward};

int run(const korvel_batch* batch, Operation operation, const Call& c) {
  const korvel_batch_wrench wrenches[]{{c.wrench_bodies[0], c.wrench}, {c.wrench_bodies[1], c.wrench}};
  korvel_batch_force_sums sums;
  switch (operation) {
    case kinematics: {
      const korvel_batch_kinematics_results results{c.poses_root,
                                                    c.poses_world,
                                                    c.com_root,
                                                    c.com_world,
                                                    c.jacobian,
                                                    c.bodies.empty() ? nullptr : c.bodies.data(),
                                                    static_cast<std::ptrdiff_t>(c.bodies.size())};
      return korvel_batch_kinematics(batch, c.count, &c.q, &results);
    }
    case mass:
      return korvel_batch_mass(batch, c.count, &c.q, c.armature, &c.packed, &c.dense);
    case dynamics:
      return korvel_batch_dynamics(batch, c.count, &c.q, &c.dq, &c.ddq, wrenches, c.wrench_count, c.armature, &c.forces,
                                   c.forces.data == nullptr ? nullptr : &sums);
    case derivatives: {
      const korvel_batch_derivative_results results{c.forces, {}, {}, c.dense, {}};
      return korvel_batch_dynamics_derivatives(batch, c.count, &c.q, &c.dq, &c.ddq, wrenches, c.wrench_count, &results);
    }
    case gradient: {
      const korvel_batch_gradient_results results{{}, c.forces, {}, {}};
      return korvel_batch_dynamics_gradient(batch, c.count, &c.q, &c.dq, &c.ddq, &c.weights, wrenches, c.wrench_count,
                                            &results);
    }
    case forward: {
      const korvel_batch_forward_results results{{}, c.forces};
      return korvel_batch_forward_dynamics(batch, c.count, &c.q, &c.dq, &c.weights, wrenches, c.wrench_count,
                                           c.armature, &results);
    }
    case momentum: {
      const korvel_batch_momentum_results results{c.jacobian, {}, c.forces, {}};
      return korvel_batch_momentum(batch, c.count, &c.q, &c.dq, &c.ddq, &results);
    }
    default: {
      korvel_batch_point point = c.point;
      point.jacobian = c.jacobian;
      return korvel_batch_body_jacobians(batch, c.count, &c.q, &c.dq, &point, c.point_count);
    }
  }
}

class Arguments : public testing::Test {
 protected:
  Call good() {
    Call call;
    call.q = input(states.q);
    call.dq = input(states.dq);
    call.ddq = call.weights = input(states.ddq);
    call.wrench = input(states.wrenches);
    call.poses_root = output(results.poses_root);
    call.poses_world = output(results.poses_world);
    call.com_root = output(results.com_root);
    call.com_world = output(results.com_world);
    call.jacobian = output(results.jacobian);
    call.packed = output(packed);
    call.dense = output(results.mass);
    call.forces = output(results.forces);
    return call;
  }

  template <typename Operations>
  void expect_refused(const Operations& operations, const std::vector<Fault>& faults) {
    Rows* const arrays[] = {&results.poses_root, &results.poses_world, &results.com_root, &results.com_world,
                            &results.jacobian,   &results.mass,        &results.forces,   &packed};
    for (const Operation operation : operations) {
      ASSERT_EQ(run(batch, operation, good()), KORVEL_BATCH_OK) << korvel_batch_error();
      for (const Fault& fault : faults) {
        const std::string who = "operation " + std::to_string(operation) + ", " + fault.name;
        Call call = good();
        fault.spoil(call);
        for (Rows* array : arrays) std::fill(array->values.begin(), array->values.end(), 77.0F);
        EXPECT_EQ(run(batch, operation, call), fault.status) << who << ": " << korvel_batch_error();
        EXPECT_NE(std::string(korvel_batch_error()).find(fault.word), std::string::npos)
            << who << ": " << korvel_batch_error();
        for (const Rows* array : arrays) {
          for (const float value : array->values) ASSERT_EQ(value, 77.0F) << who << " was refused, and written";
        }
        ++refused;
      }
    }
  }

  /// Returns what can be wrong with an array that is read.
  static std::vector<Fault> input_faults(korvel_batch_input Call::*of) {
    std::vector<Fault> faults;
    for (const int bytes : {1, 2, 3}) {
      faults.push_back({"it begins between floats",
                        [=](Call& c) {
                          const auto* begin = reinterpret_cast<const char*>((c.*of).data);
                          (c.*of).data = reinterpret_cast<const float*>(begin + bytes);
                        },
                        KORVEL_BATCH_LAYOUT, "multiple of 4"});
    }
    using Stride = std::ptrdiff_t korvel_batch_input::*;
    for (const Stride stride : {&korvel_batch_input::state, &korvel_batch_input::number, &korvel_batch_input::tile}) {
      for (const int bytes : {1, -2, 6, 131}) {
        faults.push_back(
            {"stride of no float", [=](Call& c) { c.*of.*stride = bytes; }, KORVEL_BATCH_LAYOUT, "multiple of 4"});
      }
      for (const std::ptrdiff_t bytes : {huge, -huge, std::numeric_limits<std::ptrdiff_t>::min()}) {
        faults.push_back(
            {"stride out of memory", [=](Call& c) { c.*of.*stride = bytes; }, KORVEL_BATCH_LAYOUT, "memory"});
      }
    }
    return faults;
  }

  static Fault without_data(korvel_batch_input Call::*of) {
    return {"no data", [=](Call& c) { (c.*of).data = nullptr; }, KORVEL_BATCH_NULL, "data"};
  }

  /// Returns what can be wrong with an array that is written.
  static std::vector<Fault> output_faults(std::ptrdiff_t numbers, korvel_batch_output Call::*of) {
    std::vector<Fault> faults{
        {"it begins between floats",
         [=](Call& c) { (c.*of).data = reinterpret_cast<float*>(reinterpret_cast<char*>((c.*of).data) + 1); },
         KORVEL_BATCH_LAYOUT, "multiple of 4"}};
    const std::ptrdiff_t row = numbers * 4;
    using Strides = std::array<std::ptrdiff_t, 3>;
    for (const auto& [state, number, tile] :
         {Strides{0, 4, 0}, Strides{4, 4, 0}, Strides{row - 4, 4, 0}, Strides{row, 0, 0}, Strides{4 - row, 4, 0},
          Strides{4, 4 * state_count - 4, 0}, Strides{4, 60, row * 16}, Strides{4, 64, row * 16 - 4},
          Strides{4, 64, 4}}) {
      faults.push_back({"overlaps",
                        [=, strides = Strides{state, number, tile}](Call& c) {
                          c.*of = {(c.*of).data, strides[0], strides[1], strides[2]};
                        },
                        KORVEL_BATCH_LAYOUT, "overlap"});
    }
    for (const std::ptrdiff_t bytes : {std::ptrdiff_t{2}, huge, -huge}) {
      faults.push_back({"stride of no array", [=](Call& c) { (c.*of).state = bytes; }, KORVEL_BATCH_LAYOUT, "stride"});
    }
    return faults;
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
  expect_refused(
      all, {{"no states", [](Call& c) { c.count = 0; }, KORVEL_BATCH_COUNT, "n is 0"},
            {"fewer than none", [](Call& c) { c.count = -1; }, KORVEL_BATCH_COUNT, "n is -1"},
            {"the least number", [](Call& c) { c.count = std::numeric_limits<std::ptrdiff_t>::min(); },
             KORVEL_BATCH_COUNT, "n is"},
            {"more than a lifetime is long",
             [](Call& c) {
               c.count = huge;
               for (korvel_batch_input* input : {&c.q, &c.dq, &c.ddq}) input->state = 0;
             },
             KORVEL_BATCH_COUNT, "n is"},
            {"more than memory", [](Call& c) { c.count = std::ptrdiff_t{1} << 48; }, KORVEL_BATCH_LAYOUT, "memory"},
            without_data(&Call::q)});
  expect_refused(std::array{mass}, input_faults(&Call::q));
  expect_refused(moving, {without_data(&Call::dq)});
  expect_refused(std::array{dynamics, derivatives, gradient, momentum}, {without_data(&Call::ddq)});
  expect_refused(std::array{gradient, forward}, {without_data(&Call::weights)});
  expect_refused(std::array{points}, {{"bias without velocities",
                                       [](Call& c) {
                                         c.point.bias = c.forces;
                                         c.dq.data = nullptr;
                                       },
                                       KORVEL_BATCH_NULL, "dq has no data"}});
  expect_refused(std::array{dynamics}, input_faults(&Call::wrench));
  expect_refused(
      loaded, {without_data(&Call::wrench),
               {"no such body", [](Call& c) { c.wrench_bodies[0] = 25; }, KORVEL_BATCH_BODY, "no body 25"},
               {"no such body", [](Call& c) { c.wrench_bodies[1] = -1; }, KORVEL_BATCH_BODY, "no body -1"},
               {"one body twice", [](Call& c) { c.wrench_bodies[1] = 13; }, KORVEL_BATCH_BODY, "two wrenches"},
               {"fewer than no wrenches", [](Call& c) { c.wrench_count = -2; }, KORVEL_BATCH_COUNT, "wrench_count"}});
  static std::vector<float> rotors(KORVEL_BATCH_JOINTS);
  for (const float value : {-1e-6F, std::nanf("")}) {
    expect_refused(with_rotors, {{"no rotor",
                                  [=](Call& c) {
                                    rotors.back() = value;
                                    c.armature = rotors.data();
                                  },
                                  KORVEL_BATCH_VALUE, "armature of joint 23"}});
  }
  expect_refused(std::array{points},
                 {{"no point", [](Call& c) { c.point_count = 0; }, KORVEL_BATCH_COUNT, "point_count is 0"},
                  {"no such body", [](Call& c) { c.point.body = -1; }, KORVEL_BATCH_BODY, "no body -1"},
                  {"place that is infinite", [](Call& c) { c.point.place[1] = std::numeric_limits<float>::infinity(); },
                   KORVEL_BATCH_VALUE, "place"}});
  expect_refused(std::array{kinematics},
                 {{"no such body",
                   [](Call& c) {
                     c.bodies = {4, 25};
                   },
                   KORVEL_BATCH_BODY, "no body 25"},
                  {"too many", [](Call& c) { c.bodies.assign(26, 0); }, KORVEL_BATCH_COUNT, "body_count is 26"}});
  expect_refused(std::array{kinematics}, output_faults(300, &Call::poses_root));
  expect_refused(std::array{kinematics}, output_faults(300, &Call::poses_world));
  expect_refused(std::array{kinematics}, output_faults(3, &Call::com_root));
  expect_refused(std::array{kinematics}, output_faults(3, &Call::com_world));
  expect_refused(std::array{kinematics, momentum, points}, output_faults(180, &Call::jacobian));
  expect_refused(std::array{mass}, output_faults(240, &Call::packed));
  expect_refused(std::array{mass, derivatives}, output_faults(900, &Call::dense));
  expect_refused(std::array{dynamics, derivatives, gradient, forward}, output_faults(30, &Call::forces));
  EXPECT_GE(refused, 250);
}

TEST_F(Arguments, ThatAreNullAreRefused) {
  const Call call = good();
  Call without_results = call;
  for (auto result : {&Call::poses_root, &Call::poses_world, &Call::com_root, &Call::com_world, &Call::jacobian,
                      &Call::packed, &Call::dense, &Call::forces}) {
    (without_results.*result).data = nullptr;
  }
  for (const Operation operation : all) {
    EXPECT_EQ(run(nullptr, operation, call), KORVEL_BATCH_NULL);
    EXPECT_EQ(run(batch, operation, without_results), KORVEL_BATCH_NULL);
  }
  EXPECT_EQ(korvel_batch_kinematics(batch, state_count, nullptr, nullptr), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_kinematics(batch, state_count, &call.q, nullptr), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_mass(batch, state_count, &call.q, nullptr, nullptr, nullptr), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_dynamics(batch, state_count, &call.q, &call.dq, &call.ddq, nullptr, 1, nullptr, &call.forces,
                                  nullptr),
            KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_create(nullptr, 1, nullptr), KORVEL_BATCH_NULL);
  EXPECT_EQ(korvel_batch_instruction_set(nullptr), nullptr);
  EXPECT_EQ(korvel_batch_threads(nullptr), 0);
  korvel_batch_destroy(nullptr);
}

}  // namespace
}  // namespace korvel::tests
