// Derivatives of inverse dynamics and their gradient.

#include <gtest/gtest.h>

#include "metapod/models/korvel/korvel.h"
#include "support/dual.h"
#include "support/truth.h"
#include "tests/libraries/batch/dynamics_results.h"

namespace korvel::tests {
namespace {

class DynamicsDerivatives : public testing::Test {
 protected:
  /// Joints within half a turn, 10 rad/s, 40 rad/s^2, a root with 2 m/s, wrenches of 20 N and 2.5 N m on all bodies.
  static States lively(std::ptrdiff_t n) {
    States states = random_states(n, 7);
    for (Rows* rows : {&states.dq, &states.ddq, &states.wrenches}) {
      for (float& value : rows->values) value *= 5;
    }
    for (std::ptrdiff_t s = 0; s < n; ++s) {
      for (int k = 0; k < 3; ++k) states.dq.of_state(s)[k] /= 5;
    }
    return states;
  }

  /// Rows of wrists may be smaller, and are then differences of what is larger.
  static constexpr double position_floor = 0.1;
  static constexpr double velocity_floor = 0.01;

  const Batch batch{1};
};

// The bits may differ in signs of zeros only.
TEST_F(DynamicsDerivatives, HaveTheSameBitsWithEveryInstructionSetAndNumberOfStates) {
  const States states = lively(500);
  const DynamicsResults expected = dynamics_results(Batch(1, "baseline"), states);
  Rows forces(states.count, coordinates);
  batch.dynamics(states.count, input(states.q), input(states.dq), input(states.ddq), output(forces),
                 wrenches_of(states));
  EXPECT_EQ(count_different(expected.forces, forces), 0U);
  EXPECT_EQ(count_different(expected.weighted, forces), 0U);
  for (const std::string& set : instruction_sets()) {
    EXPECT_EQ(count_different(dynamics_results(Batch(2, set.c_str()), states), expected), 0U) << set;
  }
  for (std::ptrdiff_t n = 1; n <= 33; n += 4) {
    const States few = lively(n);
    EXPECT_EQ(count_different(dynamics_results(batch, few), dynamics_results(Batch(1, "baseline"), few)), 0U) << n;
  }
}

TEST_F(DynamicsDerivatives, AreWhatTheSameTextGivesInDoublePrecision) {
  using Robot = metapod::models::KorvelRobot;
  using Dual = DualOf<false>;
  const States states = lively(1000);
  const DynamicsResults results = dynamics_results(batch, states);
  const Rows masses = batch_results(batch, states).mass;
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    const Matrices<Dual> expected = differentiated(DualState<Robot, Dual>(state_of(states, s)));
    const Eigen::MatrixXd position = Matrices<Dual>::values(expected.position, coordinates);
    const Eigen::MatrixXd velocity = Matrices<Dual>::values(expected.velocity, coordinates);
    EXPECT_LT(largest_error(matrix_of<Matrix30>(results.position, s), position, position_floor), 5e-6);
    EXPECT_LT(largest_error(matrix_of<Matrix30>(results.velocity, s), velocity, velocity_floor), 5e-6);
    const Eigen::RowVectorXd weights = vector_of(states.ddq, s).transpose();
    EXPECT_LT(largest_error(vector_of(results.by_q, s).transpose(), weights * position), 5e-6);
    EXPECT_LT(largest_error(vector_of(results.by_dq, s).transpose(), weights * velocity), 5e-6);
    EXPECT_LT(largest_error(vector_of(results.by_ddq, s).transpose(), weights * matrix_of<Matrix30>(masses, s)), 5e-6);
  }
}

// Forces are quadratic in velocities, so that a central difference is exact.
TEST_F(DynamicsDerivatives, AreDifferencesOfTheTextbookModel) {
  const States states = lively(10);
  const DynamicsResults results = dynamics_results(batch, states);
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    const State state = state_of(states, s);
    const Truth truth(state);
    Eigen::MatrixXd position(coordinates, coordinates);
    Eigen::MatrixXd velocity(coordinates, coordinates);
    const Eigen::VectorXd rest = Eigen::VectorXd::Zero(coordinates);
    for (int k = 0; k < coordinates; ++k) {
      position.col(k) = derivative([&](double t) -> Eigen::VectorXd {
        return truth.moved(Eigen::VectorXd::Unit(coordinates, k), rest, t).forces(state);
      });
      State faster = state;
      State slower = state;
      faster.dq(k) += 1;
      slower.dq(k) -= 1;
      velocity.col(k) =
          (truth.forces(faster) - truth.forces(slower)) / static_cast<double>(faster.dq(k) - slower.dq(k));
    }
    EXPECT_LT(largest_error(matrix_of<Matrix30>(results.position, s), position, position_floor), 1e-4);
    EXPECT_LT(largest_error(matrix_of<Matrix30>(results.velocity, s), velocity, velocity_floor), 1e-4);
  }
}

}  // namespace
}  // namespace korvel::tests
