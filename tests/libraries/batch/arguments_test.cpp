#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "tests/libraries/batch/module_results.h"

namespace korvel::tests {
namespace {

constexpr std::ptrdiff_t state_count = 20;
constexpr std::ptrdiff_t least = std::numeric_limits<std::ptrdiff_t>::min();
constexpr std::ptrdiff_t huge = std::numeric_limits<std::ptrdiff_t>::max() / 8 * 4;
constexpr float infinite = std::numeric_limits<float>::infinity();
constexpr float square[] = {0, 0, 0, 0.1F, 0, 0, 0.1F, 0.1F, 0, 0, 0.1F, 0};
constexpr float line[] = {0, 0, 0, 1, 0, 0, 2, 0, 0};
constexpr korvel_batch_sole good_sole{13, 0.6F, square, 4};

/// The arguments of a call of every operation. All are good until one is spoilt.
struct Call {
  korvel_batch_input q, dq, ddq, weights, wrench;
  korvel_batch_output poses_root, poses_world, com_root, com_world, jacobian, packed, dense, forces;
  korvel_batch_output bias = {};
  std::vector<int> bodies = {};
  int wrench_bodies[2] = {13, 19};
  float rotor = 0;
  int point_body = 24;
  float place = 0.05F;
  std::ptrdiff_t count = state_count, wrench_count = 2, point_count = 1;
  std::vector<korvel_batch_sole> soles = {good_sole};
  std::ptrdiff_t sole_count = 1;
  float height = 0;
  korvel_batch_input contact = {};
};

using Spoil = std::function<void(Call&)>;

/// Makes one thing wrong: a member of a call, or a member of one of its arrays.
template <typename Member, typename Value>
Spoil with(Member Call::*member, Value value) {
  return [=](Call& c) { c.*member = value; };
}
template <typename Array, typename Member, typename Value>
Spoil with(Array Call::*array, Member Array::*member, Value value) {
  return [=](Call& c) { c.*array.*member = value; };
}

/// One thing that is wrong, with what must be refused because of it.
struct Fault {
  Spoil spoil;
  int status;
  const char* word;  ///< in the sentence
};
using Faults = std::vector<Fault>;

/// Returns what can be wrong with an array.
template <typename Array>
Faults array_faults(Array Call::*of) {
  Faults faults;
  for (const unsigned bytes : {1U, 2U, 3U}) {
    const auto shift = [=](Call& c) {
      auto& data = (c.*of).data;
      data = reinterpret_cast<std::decay_t<decltype(data)>>(reinterpret_cast<std::uintptr_t>(data) + bytes);
    };
    faults.push_back({shift, KORVEL_BATCH_LAYOUT, "does not begin at a multiple of 4"});
  }
  for (const auto stride : {&Array::state, &Array::number, &Array::tile}) {
    for (const int bytes : {1, -2, 6, 131}) {
      faults.push_back({with(of, stride, bytes), KORVEL_BATCH_LAYOUT, "is no multiple of 4"});
    }
    for (const std::ptrdiff_t bytes : {huge, -huge, least}) {
      faults.push_back({with(of, stride, bytes), KORVEL_BATCH_LAYOUT, "leads out of memory"});
    }
  }
  return faults;
}

/// Returns what can be wrong with an array of so many numbers that is written.
Faults output_faults(std::ptrdiff_t numbers, korvel_batch_output Call::*of) {
  Faults faults = array_faults(of);
  const std::ptrdiff_t row = numbers * 4;
  using Strides = std::array<std::ptrdiff_t, 3>;
  for (const Strides strides : {Strides{0, 4, 0}, Strides{4, 4, 0}, Strides{row - 4, 4, 0}, Strides{row, 0, 0},
                                Strides{4 - row, 4, 0}, Strides{4, 4 * state_count - 4, 0}, Strides{4, 60, row * 16},
                                Strides{4, 64, row * 16 - 4}, Strides{4, 64, 4}}) {
    const auto overlap = [=](Call& c) { c.*of = {(c.*of).data, strides[0], strides[1], strides[2]}; };
    faults.push_back({overlap, KORVEL_BATCH_LAYOUT, "overlap"});
  }
  return faults;
}

Fault without_data(korvel_batch_input Call::*of) {
  return {with(of, &korvel_batch_input::data, nullptr), KORVEL_BATCH_NULL, "has no data"};
}

enum Operation { kinematics, mass, dynamics, derivatives, gradient, forward, momentum, stand, points };
constexpr Operation all[] = {kinematics, mass, dynamics, derivatives, gradient, forward, momentum, stand, points};

int run(const korvel_batch* batch, Operation operation, const Call& c) {
  const korvel_batch_wrench wrenches[]{{c.wrench_bodies[0], c.wrench}, {c.wrench_bodies[1], c.wrench}};
  std::array<float, KORVEL_BATCH_JOINTS> armature{};
  armature.back() = c.rotor;
  const int* const bodies = c.bodies.empty() ? nullptr : c.bodies.data();
  const korvel_batch_kinematics_results placed{c.poses_root,
                                               c.poses_world,
                                               c.com_root,
                                               c.com_world,
                                               c.jacobian,
                                               bodies,
                                               static_cast<std::ptrdiff_t>(c.bodies.size())};
  const korvel_batch_derivative_results by_motion{c.forces, {}, {}, c.dense, {}};
  const korvel_batch_gradient_results weighted{{}, c.forces, {}, {}};
  const korvel_batch_forward_results accelerated{{}, c.forces};
  const korvel_batch_momentum_results moved{c.jacobian, {}, c.forces, {}};
  const korvel_batch_sole* const soles = c.soles.empty() ? nullptr : c.soles.data();
  const korvel_batch_ground ground{c.height, soles, c.sole_count, c.contact};
  const korvel_batch_stand_results supported{c.forces, c.jacobian, {}, {}, {}, {}, {}};
  const korvel_batch_point point{c.point_body, {0.1F, c.place, 0}, c.jacobian, c.bias};
  korvel_batch_force_sums sums;
  switch (operation) {
    case kinematics:
      return korvel_batch_kinematics(batch, c.count, &c.q, &placed);
    case mass:
      return korvel_batch_mass(batch, c.count, &c.q, armature.data(), &c.packed, &c.dense);
    case dynamics:
      return korvel_batch_dynamics(batch, c.count, &c.q, &c.dq, &c.ddq, wrenches, c.wrench_count, armature.data(),
                                   &c.forces, c.forces.data == nullptr ? nullptr : &sums);
    case derivatives:
      return korvel_batch_dynamics_derivatives(batch, c.count, &c.q, &c.dq, &c.ddq, wrenches, c.wrench_count,
                                               &by_motion);
    case gradient:
      return korvel_batch_dynamics_gradient(batch, c.count, &c.q, &c.dq, &c.ddq, &c.weights, wrenches, c.wrench_count,
                                            &weighted);
    case forward:
      return korvel_batch_forward_dynamics(batch, c.count, &c.q, &c.dq, &c.weights, wrenches, c.wrench_count,
                                           armature.data(), &accelerated);
    case momentum:
      return korvel_batch_momentum(batch, c.count, &c.q, &c.dq, &c.ddq, &moved);
    case stand:
      return korvel_batch_stand(batch, c.count, &c.q, &c.dq, &c.ddq, &ground, &supported, nullptr);
    default:
      return korvel_batch_body_jacobians(batch, c.count, &c.q, &c.dq, &point, c.point_count);
  }
}

class Arguments : public testing::Test {
 protected:
  Call good() {
    return {
        input(states.q),           input(states.dq),           input(states.ddq),           input(states.ddq),
        input(states.wrenches),    output(results.poses_root), output(results.poses_world), output(results.com_root),
        output(results.com_world), output(results.jacobian),   output(results.packed),      output(results.mass),
        output(results.forces)};
  }

  template <typename Operations>
  void expect_refused(const Operations& operations, const Faults& faults) {
    for (const Operation operation : operations) {
      ASSERT_EQ(run(batch, operation, good()), KORVEL_BATCH_OK) << korvel_batch_error();
      for (std::size_t i = 0; i < faults.size(); ++i) {
        Call call = good();
        faults[i].spoil(call);
        results = before;
        const int status = run(batch, operation, call);
        const std::string sentence = korvel_batch_error();
        EXPECT_EQ(status, faults[i].status) << "operation " << operation << ", fault " << i << ": " << sentence;
        EXPECT_NE(sentence.find(faults[i].word), std::string::npos) << sentence << " without " << faults[i].word;
        ASSERT_EQ(count_different(results, before), 0U) << "operation " << operation << " was refused, and wrote";
      }
    }
  }

  void SetUp() override { ASSERT_EQ(korvel_batch_create(&batch, 1, nullptr), KORVEL_BATCH_OK) << korvel_batch_error(); }
  void TearDown() override { korvel_batch_destroy(batch); }

  korvel_batch* batch = nullptr;
  States states = random_states(state_count, 900);
  const Results before = batch_results(Batch(1), random_states(state_count, 1));
  Results results = before;
};

TEST_F(Arguments, ThatAreBadAreRefusedAndNothingIsWritten) {
  expect_refused(all, {{with(&Call::count, 0), KORVEL_BATCH_COUNT, "n is 0"},
                       {with(&Call::count, -1), KORVEL_BATCH_COUNT, "n is -1"},
                       {with(&Call::count, least), KORVEL_BATCH_COUNT, "n is"},
                       // The call would last for a lifetime.
                       {[](Call& c) {
                          c.count = huge;
                          for (korvel_batch_input* input : {&c.q, &c.dq, &c.ddq}) input->state = 0;
                        },
                        KORVEL_BATCH_COUNT, "n is"},
                       {with(&Call::count, std::ptrdiff_t{1} << 48), KORVEL_BATCH_LAYOUT, "memory"},
                       without_data(&Call::q)});
  expect_refused(std::array{mass}, array_faults(&Call::q));
  expect_refused(std::array{dynamics, derivatives, gradient, forward, momentum, stand}, {without_data(&Call::dq)});
  expect_refused(std::array{dynamics, derivatives, gradient, momentum, stand}, {without_data(&Call::ddq)});
  expect_refused(std::array{gradient, forward}, {without_data(&Call::weights)});
  expect_refused(std::array{dynamics}, array_faults(&Call::wrench));
  expect_refused(std::array{dynamics, derivatives, gradient, forward},
                 {without_data(&Call::wrench),
                  {[](Call& c) { c.wrench_bodies[0] = 25; }, KORVEL_BATCH_BODY, "no body 25"},
                  {[](Call& c) { c.wrench_bodies[1] = -1; }, KORVEL_BATCH_BODY, "no body -1"},
                  {[](Call& c) { c.wrench_bodies[1] = 13; }, KORVEL_BATCH_BODY, "two wrenches"},
                  {with(&Call::wrench_count, -2), KORVEL_BATCH_COUNT, "wrench_count"}});
  for (const float value : {-1e-6F, std::nanf("")}) {
    expect_refused(std::array{mass, dynamics, forward},
                   {{with(&Call::rotor, value), KORVEL_BATCH_VALUE, "armature of joint 23"}});
  }
  expect_refused(std::array{points}, {{with(&Call::point_count, 0), KORVEL_BATCH_COUNT, "point_count is 0"},
                                      {with(&Call::point_body, -1), KORVEL_BATCH_BODY, "no body -1"},
                                      {with(&Call::place, infinite), KORVEL_BATCH_VALUE, "place"},
                                      {[](Call& c) {
                                         c.bias = c.forces;
                                         c.dq.data = nullptr;
                                       },
                                       KORVEL_BATCH_NULL, "dq has no data"}});
  expect_refused(std::array{kinematics},
                 {{with(&Call::bodies, std::vector<int>{4, 25}), KORVEL_BATCH_BODY, "no body 25"},
                  {with(&Call::bodies, std::vector<int>(26)), KORVEL_BATCH_COUNT, "body_count is 26"}});
  expect_refused(std::array{kinematics}, output_faults(300, &Call::poses_root));
  expect_refused(std::array{kinematics}, output_faults(300, &Call::poses_world));
  expect_refused(std::array{kinematics}, output_faults(3, &Call::com_root));
  expect_refused(std::array{kinematics}, output_faults(3, &Call::com_world));
  expect_refused(std::array{kinematics, momentum, points}, output_faults(180, &Call::jacobian));
  expect_refused(std::array{mass}, output_faults(240, &Call::packed));
  expect_refused(std::array{mass, derivatives}, output_faults(900, &Call::dense));
  expect_refused(std::array{dynamics, derivatives, gradient, forward, stand}, output_faults(30, &Call::forces));
}

TEST_F(Arguments, ThatAreNoGroundAreRefused) {
  const auto sole = [](int body, float friction, const float* corners, std::ptrdiff_t corner_count) {
    return with(&Call::soles, std::vector{korvel_batch_sole{body, friction, corners, corner_count}});
  };
  const auto twice = [](Call& c) {
    c.soles = {good_sole, good_sole};
    c.sole_count = 2;
  };
  expect_refused(std::array{stand},
                 {{sole(25, 0.6F, square, 4), KORVEL_BATCH_BODY, "no body 25"},
                  {sole(-1, 0.6F, square, 4), KORVEL_BATCH_BODY, "no body -1"},
                  {sole(13, -0.1F, square, 4), KORVEL_BATCH_VALUE, "friction"},
                  {sole(13, std::nanf(""), square, 4), KORVEL_BATCH_VALUE, "friction"},
                  {sole(13, 0.6F, nullptr, 4), KORVEL_BATCH_NULL, "corners"},
                  {sole(13, 0.6F, square, 2), KORVEL_BATCH_COUNT, "corner_count"},
                  {sole(13, 0.6F, square, -1), KORVEL_BATCH_COUNT, "corner_count"},
                  {sole(13, 0.6F, square, 1 << 30), KORVEL_BATCH_COUNT, "corner_count"},
                  {sole(13, 0.6F, line, 3), KORVEL_BATCH_VALUE, "line"},
                  {twice, KORVEL_BATCH_BODY, "two soles"},
                  {with(&Call::soles, std::vector<korvel_batch_sole>{}), KORVEL_BATCH_NULL, "soles is null"},
                  {with(&Call::sole_count, 0), KORVEL_BATCH_COUNT, "sole_count is 0"},
                  {with(&Call::sole_count, -1), KORVEL_BATCH_COUNT, "sole_count is -1"},
                  {with(&Call::sole_count, 26), KORVEL_BATCH_COUNT, "sole_count is 26"},
                  {with(&Call::height, std::nanf("")), KORVEL_BATCH_VALUE, "height"},
                  {with(&Call::contact, korvel_batch_input{square, 1, 1, 0}), KORVEL_BATCH_LAYOUT, "contact"}});
  const Call c = good();
  EXPECT_EQ(korvel_batch_stand(batch, state_count, &c.q, &c.dq, &c.ddq, nullptr, nullptr, nullptr), KORVEL_BATCH_NULL);
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
