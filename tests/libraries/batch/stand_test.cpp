// Compares many states on the ground with the double-precision robot and with closed forms.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/expect.h"
#include "support/truth.h"
#include "tests/libraries/batch/module_results.h"

namespace korvel::tests {
namespace {

using Eigen::Vector2d;
using Eigen::Vector3d;

constexpr int left = 13;  // of the feet
constexpr int right = 19;
constexpr float friction = 0.6F;
/// Ankle 0.045 m above the sole, which reaches 0.1 m forward, 0.05 m back and 0.04 m to both sides.
constexpr float corners[] = {-0.045F, 0.04F,  0.1F,   -0.045F, -0.04F, 0.1F,
                             -0.045F, -0.04F, -0.05F, -0.045F, 0.04F,  -0.05F};
constexpr korvel_batch_sole soles[] = {{left, friction, corners, 4}, {right, friction, corners, 4}};

/// All results of n states on the ground.
struct Stands {
  explicit Stands(std::ptrdiff_t n)
      : forces(n, coordinates), loads(n, 12), pressure(n, 4), zmp(n, 2), margin(n, 1), residual(n, 1), verdict(n, 1) {}

  korvel_batch_stand_results wanted() {
    return {output(forces), output(loads),    output(pressure), output(zmp),
            output(margin), output(residual), output(verdict)};
  }
  std::array<const Rows*, 7> all() const { return {&forces, &loads, &pressure, &zmp, &margin, &residual, &verdict}; }

  Rows forces, loads, pressure, zmp, margin, residual, verdict;
};

Vector3d vector(const float* numbers) { return Eigen::Map<const Eigen::Vector3f>(numbers).cast<double>(); }

int verdict_of(const Stands& results, std::ptrdiff_t s) { return static_cast<int>(*results.verdict.of_state(s)); }

class Stand : public testing::Test {
 protected:
  Stands stands(const States& states, const korvel_batch_ground& ground, const Batch& batch) const {
    Stands results(states.count);
    batch.stand(states.count, input(states.q), input(states.dq), input(states.ddq), ground, results.wanted());
    return results;
  }

  /// Upright and at rest, all joints at zero, the soles on the ground at z = 0.
  State upright() const {
    State state{RobotSize(bodies)};
    const Truth truth(state);
    state.q[2] = static_cast<float>(-(truth.pose(left) * vector(corners)).z());
    return state;
  }

  /// Returns copies of that state, each with a change.
  template <typename Change>
  States of_upright(std::ptrdiff_t n, const Change& change) const {
    States states(n);
    for (std::ptrdiff_t s = 0; s < n; ++s) {
      State state = upright();
      change(s, state);
      std::copy_n(state.q.data(), coordinates, states.q.of_state(s));
      std::copy_n(state.dq.data(), coordinates, states.dq.of_state(s));
      std::copy_n(state.ddq.data(), coordinates, states.ddq.of_state(s));
    }
    return states;
  }

  Batch batch_{1};
  const double weight_ = 9.81 * Truth(State{RobotSize(bodies)}).mass_matrix()(0, 0);
  const korvel_batch_ground seen_{0, soles, 2, {}};
};

// The loads that are told, put on the bodies of the textbook's robot, are those with which the forces were computed;
// what the root then still lacks is the residual.
TEST_F(Stand, ForcesAreThoseOfTheTextbookWithTheLoads) {
  constexpr std::ptrdiff_t n = 300;
  States states = random_states(n, 7000);
  Rows contact(n, 2);
  for (std::ptrdiff_t s = 0; s < n; ++s) {
    contact.of_state(s)[0] = s % 2 == 0 ? 1.0F : -3.0F;
    contact.of_state(s)[1] = s % 3 == 0 ? 0.5F : 0.0F;
  }
  const Stands results = stands(states, {-0.3F, soles, 2, input(contact)}, batch_);
  for (std::ptrdiff_t s = 0; s < n; ++s) {
    State state = state_of(states, s);
    state.wrenches.setZero();
    const Truth placed(state);
    for (int i = 0; i < 2; ++i) {
      const float* load = results.loads.of_state(s) + 6 * i;
      const int body = i == 0 ? left : right;
      const Eigen::Matrix3d to_body = placed.pose(body).linear().transpose();
      state.wrenches.col(body) << (to_body * vector(load)).cast<float>(), (to_body * vector(load + 3)).cast<float>();
      const bool stands = contact.of_state(s)[i] > 0;
      EXPECT_TRUE(stands || !(vector(load).norm() + vector(load + 3).norm() > 0)) << s;
      EXPECT_LE(vector(load).head<2>().norm(), 0.6001 * vector(load).z() + 1e-6 * weight_) << s;
    }
    const Truth::Vector expected = placed.forces(state);
    const Truth::Vector scale = placed.force_scale(state);
    const Eigen::Map<const Eigen::VectorXf> forces(results.forces.of_state(s), coordinates);
    EXPECT_TRUE(near(forces, expected, dynamic, scale)) << s;
    // The residual is told about another point than the root's origin: its force is the same.
    const double missing = expected.head<3>().norm() / weight_;
    EXPECT_GE(static_cast<double>(*results.residual.of_state(s)), missing * (1 - 1e-4) - 1e-5) << s;
  }
}

TEST_F(Stand, AtRestTheGroundBearsTheWeightUnderTheCentreOfMass) {
  const States states = of_upright(20, [](std::ptrdiff_t s, State& state) {
    state.q[0] = static_cast<float>(s);
    state.q[5] = 0.3F * static_cast<float>(s);
  });
  const Stands results = stands(states, seen_, batch_);
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    const Truth truth(state_of(states, s));
    const Vector2d com = truth.first_moment().head<2>() / (weight_ / 9.81);
    const float* load = results.loads.of_state(s);
    EXPECT_EQ(verdict_of(results, s), KORVEL_BATCH_STANDS);
    EXPECT_LT(*results.residual.of_state(s), 1e-5F);
    EXPECT_NEAR(static_cast<double>(load[2] + load[8]), weight_, 1e-5 * weight_);
    const Eigen::Map<const Eigen::Matrix<float, 2, 2>> pressure(results.pressure.of_state(s));
    const Eigen::Vector2f together = (load[2] * pressure.col(0) + load[8] * pressure.col(1)) / (load[2] + load[8]);
    EXPECT_LT((together.cast<double>() - com).norm(), 2e-5) << s;
    EXPECT_LT((Eigen::Map<const Eigen::Vector2f>(results.zmp.of_state(s)).cast<double>() - com).norm(), 2e-5) << s;
    // The nearest edge is the one in front of the toes or behind the heels.
    const Eigen::Vector3d com_body =
        truth.pose(left).inverse() * Vector3d(com.x(), com.y(), truth.pose(left).translation().z());
    EXPECT_NEAR(static_cast<double>(*results.margin.of_state(s)), std::min(0.1 - com_body.z(), com_body.z() + 0.05),
                2e-5);
  }
}

// An acceleration of the whole robot needs a force through its centre of mass: sideways by friction times gravity it
// slips, forward by gravity times reach over height it tips.
TEST_F(Stand, VerdictsNameTheReason) {
  const Truth truth(upright());
  const Vector3d com = truth.first_moment() / (weight_ / 9.81);
  const Vector3d foot = truth.pose(left).translation();
  const double forward = 9.81 * (com.x() - (foot.x() - 0.05)) / com.z();
  const struct {
    Vector3d acceleration;
    korvel_batch_verdict verdict;
  } cases[] = {{{0, 0.999 * 0.25 * 9.81, 0}, KORVEL_BATCH_STANDS},
               {{0, 1.01 * 0.25 * 9.81, 0}, KORVEL_BATCH_SLIPS},
               {{0.998 * forward, 0, 0}, KORVEL_BATCH_STANDS},
               {{1.01 * forward, 0, 0}, KORVEL_BATCH_TIPS},
               {{0, 0, -9.7}, KORVEL_BATCH_STANDS},
               {{0, 0, -10}, KORVEL_BATCH_NEEDS_PULL},
               {{0, 0, 5}, KORVEL_BATCH_STANDS},
               {{0, 0, -9.81}, KORVEL_BATCH_STANDS}};
  ASSERT_LT(1.01 * forward, 0.25 * 9.81);
  const States states =
      of_upright(8, [&](std::ptrdiff_t s, State& state) { state.ddq.head<3>() = cases[s].acceleration.cast<float>(); });
  const korvel_batch_sole slippery[] = {{left, 0.25F, corners, 4}, {right, 0.25F, corners, 4}};
  const Stands results = stands(states, {0, slippery, 2, {}}, batch_);
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    EXPECT_EQ(verdict_of(results, s), cases[s].verdict) << s << ": " << *results.residual.of_state(s);
  }
  const Rows lifted(8, 2);
  const Stands in_the_air = stands(states, {0, soles, 2, input(lifted)}, batch_);
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    EXPECT_EQ(verdict_of(in_the_air, s), s == 7 ? KORVEL_BATCH_IN_FLIGHT : KORVEL_BATCH_NOTHING_BEARS);
    EXPECT_NEAR(static_cast<double>(in_the_air.forces.of_state(s)[2]), weight_ * (1 + cases[s].acceleration.z() / 9.81),
                1e-4);
  }
  const korvel_batch_stand_sums sums =
      batch_.stand_sums(8, input(states.q), input(states.dq), input(states.ddq), {0, soles, 2, input(lifted)});
  EXPECT_EQ(sums.unbearable, 7) << "all but the one in flight";
}

TEST_F(Stand, SolesAreSeenToStandWhileTheyAreNearTheGroundAndSlow) {
  const struct {
    float height, sink, knee;
    bool stands;
  } cases[] = {{0.0049F, 0, 0, true}, {0.0051F, 0, 0, false}, {-0.02F, 0, 0, true},
               {0, -0.049F, 0, true}, {0, -0.051F, 0, false}, {0, 0, 1, false}};
  const States states = of_upright(6, [&](std::ptrdiff_t s, State& state) {
    state.q[2] += cases[s].height;
    state.dq[2] = cases[s].sink;
    state.dq[5 + 11] = cases[s].knee;
    state.dq[5 + 17] = cases[s].knee;
  });
  const Stands results = stands(states, seen_, batch_);
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    EXPECT_EQ(verdict_of(results, s) != KORVEL_BATCH_NOTHING_BEARS, cases[s].stands) << s;
  }
}

// The same numbers from every instruction set, on any number of threads, and in sums.
TEST_F(Stand, DoesNotDependOnHowTheWorkIsCut) {
  constexpr std::ptrdiff_t n = 203;
  const States states = of_upright(n, [](std::ptrdiff_t s, State& state) {
    Random random(static_cast<std::uint64_t>(s));
    random.fill(state.dq, 0.02F);
    random.fill(state.ddq, 3);
  });
  const Stands expected = stands(states, seen_, batch_);
  const auto unbearable = (Eigen::Map<const Eigen::ArrayXf>(expected.residual.of_state(0), n) > 1e-3F).count();
  const float least_margin = *std::min_element(expected.margin.values.begin(), expected.margin.values.end());
  const Eigen::ArrayXf largest =
      Eigen::Map<const Eigen::ArrayXXf>(expected.forces.of_state(0), coordinates, n).abs().rowwise().maxCoeff();
  EXPECT_GT(unbearable, 20);
  EXPECT_LT(unbearable, 180);
  korvel_batch_stand_sums first{};
  for (const std::string& set : instruction_sets()) {
    for (const int threads : {1, 2, 5}) {
      const Batch batch(threads, set.c_str());
      EXPECT_EQ(count_different(stands(states, seen_, batch), expected), 0U) << set;
      const korvel_batch_stand_sums sums =
          batch.stand_sums(n, input(states.q), input(states.dq), input(states.ddq), seen_);
      EXPECT_EQ(sums.unbearable, unbearable);
      EXPECT_EQ(sums.least_margin, least_margin);
      if (first.unbearable == 0) first = sums;
      EXPECT_TRUE(std::equal(largest.begin(), largest.end(), sums.forces.largest));
      EXPECT_TRUE(std::equal(std::begin(first.forces.squares), std::end(first.forces.squares), sums.forces.squares));
    }
  }
}

// Most loads of these states take many steps, and the blocks in which the steps are taken serve many states in turn.
TEST_F(Stand, WhatIsNotFiniteStaysInItsState) {
  const States states = random_states(600, 3);
  States spoilt = states;
  spoilt.ddq.of_state(5)[12] = std::numeric_limits<float>::quiet_NaN();
  spoilt.q.of_state(400)[1] = std::numeric_limits<float>::infinity();
  constexpr float both[] = {1, 1};
  const korvel_batch_ground ground{0, soles, 2, {both, 0, sizeof(float), 0}};
  for (const std::string& set : instruction_sets()) {
    SCOPED_TRACE(set);
    const Batch batch(1, set.c_str());
    const Stands expected = stands(states, ground, batch);
    const Stands results = stands(spoilt, ground, batch);
    std::ptrdiff_t unbearable = 0;
    for (std::ptrdiff_t s = 0; s < states.count; ++s) {
      const bool finite = s != 5 && s != 400;
      EXPECT_EQ(std::isfinite(*results.verdict.of_state(s)), finite) << s;
      EXPECT_EQ(std::isfinite(*results.residual.of_state(s)), finite) << s;
      const float* const forces = results.forces.of_state(s);
      EXPECT_EQ(std::equal(forces, forces + coordinates, expected.forces.of_state(s)), finite) << s;
      unbearable += !(*results.residual.of_state(s) <= 1e-3F);
    }
    const auto sums = batch.stand_sums(600, input(spoilt.q), input(spoilt.dq), input(spoilt.ddq), ground);
    EXPECT_EQ(sums.unbearable, unbearable);
    EXPECT_TRUE(std::isnan(sums.least_margin));
  }
}

}  // namespace
}  // namespace korvel::tests
