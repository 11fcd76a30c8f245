// Forward dynamics, momentum and jacobians of points.

#include <gtest/gtest.h>

#include "support/expect.h"
#include "support/truth.h"
#include "tests/libraries/batch/dynamics_results.h"

namespace korvel::tests {
namespace {

class Dynamics : public testing::Test {
 protected:
  const States states = random_states(200, 11);
  const Batch batch{1};
  const DynamicsResults results = dynamics_results(batch, states);
};

// The equation of motion of the textbook model.
TEST_F(Dynamics, ForwardSolvesTheEquationOfMotion) {
  for (std::ptrdiff_t s = 0; s < 20; ++s) {
    const State state = state_of(states, s);
    const Truth truth(state);
    State at_rest = state;
    at_rest.ddq.setZero();
    Eigen::MatrixXd mass = truth.mass_matrix();
    mass.diagonal().tail(KORVEL_BATCH_JOINTS).array() += static_cast<double>(rotor);
    const Eigen::VectorXd expected = mass.ldlt().solve(state.ddq.cast<double>() - truth.forces(at_rest));
    EXPECT_LT((vector_of(results.ddq, s) - expected).lpNorm<Eigen::Infinity>() / expected.lpNorm<Eigen::Infinity>(),
              1e-4);
    // What is left is the rounding of forces that cancel each other.
    const Eigen::VectorXd forces = mass.cwiseAbs() * expected.cwiseAbs();
    EXPECT_LT(vector_of(results.residual, s).lpNorm<Eigen::Infinity>() / forces.maxCoeff(), 1e-5);
  }
}

// The rate is the force and the moment on the root that inverse dynamics gives, less the weight.
TEST_F(Dynamics, MomentumChangesByTheWrench) {
  Rows forces(states.count, coordinates);
  batch.dynamics(states.count, input(states.q), input(states.dq), input(states.ddq), output(forces));
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    const State state = state_of(states, s);
    const Truth truth(state);
    double mass = 0;
    for (int b = 0; b < bodies; ++b) mass += truth.mass(b);
    const Eigen::Vector3d com = truth.first_moment() / mass - truth.pose(0).translation();
    const Eigen::Matrix3d& R = truth.pose(0).linear();
    const Eigen::VectorXd root = vector_of(forces, s);
    const Eigen::Vector3d force = R * root.head(3);
    Truth::Vector6 wrench;
    wrench << R * root.segment(3, 3) - com.cross(force), force - Truth::gravity * mass * Eigen::Vector3d::UnitZ();
    const Eigen::VectorXd rate = vector_of(results.rate, s);
    EXPECT_TRUE(near(rate, wrench, 1e-5 * (wrench.norm() + mass * Truth::gravity)));

    const Eigen::MatrixXd matrix = matrix_of<Matrix6>(results.matrix, s);
    EXPECT_LT(largest_error(matrix.bottomRows(3), truth.first_moment_jacobian(-1)), 1e-5);
  }
}

TEST_F(Dynamics, JacobiansAreThoseOfTheTextbookModel) {
  const Eigen::Vector3d in_body(static_cast<double>(place[0]), static_cast<double>(place[1]),
                                static_cast<double>(place[2]));
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    const State state = state_of(states, s);
    const Truth truth(state);
    const Eigen::MatrixXd expected = truth.jacobian(hand, truth.pose(hand) * in_body);
    EXPECT_TRUE(near(matrix_of<Matrix6>(results.jacobian, s), expected, 1e-5));
    const Eigen::VectorXd dq = state.dq.cast<double>();
    const Truth::Vector6 bias = derivative([&](double t) {
      const Truth later = truth.moved(dq, Eigen::VectorXd::Zero(coordinates), t);
      return Truth::Vector6(later.jacobian(hand, later.pose(hand) * in_body) * dq);
    });
    EXPECT_TRUE(near(vector_of(results.jacobian_bias, s), bias, 1e-5 * bias.norm()));
  }
}

}  // namespace
}  // namespace korvel::tests
