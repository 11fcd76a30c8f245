// Forward dynamics, momentum and jacobians of points, and arguments of the operations of batch_dynamics.h.

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "support/expect.h"
#include "support/truth.h"
#include "tests/libraries/batch/dynamics_results.h"

namespace korvel::tests {
namespace {

class Dynamics : public testing::Test {
 protected:
  static korvel_batch_input in(const Rows& rows) { return rows_of(rows.values.data(), rows.numbers); }
  static korvel_batch_output out(Rows& rows) { return rows_to(rows.values.data(), rows.numbers); }

  const States states = random_states(200, 11);
  const Batch batch{1};
  const DynamicsResults results = dynamics_results(batch, states);
};

TEST_F(Dynamics, ForwardAfterInverseIsTheIdentityWithRotors) {
  Rows forces(states.count, coordinates);
  Rows found(states.count, coordinates);
  Rows residual(states.count, coordinates);
  batch.dynamics(states.count, in(states.q), in(states.dq), in(states.ddq), out(forces), wrenches_of(states),
                 rotors().data());
  batch.forward_dynamics(states.count, in(states.q), in(states.dq), in(forces), {out(found), out(residual)},
                         rotors().data(), wrenches_of(states));
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    const Eigen::VectorXd ddq = vector_of(states.ddq, s);
    EXPECT_LT((vector_of(found, s) - ddq).lpNorm<Eigen::Infinity>() / ddq.lpNorm<Eigen::Infinity>(), 1e-4);
    const Eigen::VectorXd force = vector_of(forces, s);
    EXPECT_LT(vector_of(residual, s).lpNorm<Eigen::Infinity>() / force.lpNorm<Eigen::Infinity>(), 1e-5);
  }
}

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
  }
}

TEST_F(Dynamics, RotorsAddToTheDiagonalAndToTorques) {
  Rows plain(states.count, 900);
  Rows with_rotors(states.count, 900);
  Rows forces(states.count, coordinates);
  Rows heavier(states.count, coordinates);
  batch.mass_dense(states.count, in(states.q), out(plain));
  batch.mass_dense(states.count, in(states.q), out(with_rotors), rotors().data());
  batch.dynamics(states.count, in(states.q), in(states.dq), in(states.ddq), out(forces));
  batch.dynamics(states.count, in(states.q), in(states.dq), in(states.ddq), out(heavier), {}, rotors().data());
  for (std::ptrdiff_t s = 0; s < states.count; ++s) {
    for (int k = 6; k < coordinates; ++k) {
      plain.of_state(s)[31 * k] += rotor;
      const float torque = rotor * states.ddq.of_state(s)[k];
      forces.of_state(s)[k] += torque;
    }
  }
  EXPECT_EQ(count_different(with_rotors, plain), 0U);
  EXPECT_EQ(count_different(heavier, forces), 0U);
  const auto sums = batch.force_sums(states.count, in(states.q), in(states.dq), in(states.ddq), {}, rotors().data());
  float largest = 0;
  for (std::ptrdiff_t s = 0; s < states.count; ++s) largest = std::max(largest, std::abs(forces.of_state(s)[29]));
  EXPECT_EQ(sums.largest[29], largest);
}

// The rate is the force and the moment on the root that inverse dynamics gives, less the weight.
TEST_F(Dynamics, MomentumChangesByTheWrench) {
  Rows forces(states.count, coordinates);
  batch.dynamics(states.count, in(states.q), in(states.dq), in(states.ddq), out(forces));
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
    const Eigen::VectorXd sum = matrix * state.ddq.cast<double>() + vector_of(results.bias, s);
    EXPECT_LT((sum - rate).norm() / rate.norm(), 1e-5);
    const Eigen::VectorXd momentum = vector_of(results.momentum, s);
    EXPECT_LT((matrix * state.dq.cast<double>() - momentum).norm() / momentum.norm(), 1e-5);
    // The angular part of the matrix, of which twice the kinetic energy is a part: J^T M J of the root's motion.
    const Eigen::Vector3d about_com = matrix.topRows(3) * Eigen::VectorXd::Unit(coordinates, 4);
    const Eigen::MatrixXd M = truth.mass_matrix();
    const Eigen::Vector3d moment = R * M.col(4).segment(3, 3) - com.cross(R * M.col(4).head(3));
    EXPECT_LT((about_com - moment).norm() / moment.norm(), 1e-5);
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

/// Every operation of the header with good arguments, until one is spoilt.
struct Calls {
  explicit Calls(const States& states, Rows& to)
      : q(rows_of(states.q.values.data(), coordinates)),
        dq(q),
        ddq(q),
        weights(q),
        n(states.count),
        output(rows_to(to.values.data(), to.numbers)),
        point{hand, {place[0], place[1], place[2]}, output, {}} {}

  std::array<int, 5> run(const korvel_batch* batch) const {
    const korvel_batch_derivative_results derivatives{output, {}, {}, {}, {}};
    const korvel_batch_gradient_results gradient{output, {}, {}, {}};
    const korvel_batch_forward_results forward{output, {}};
    const korvel_batch_momentum_results momentum{output, {}, output, {}};
    const korvel_batch_wrench wrench{body, q};
    return {korvel_batch_dynamics_derivatives(batch, n, &q, &dq, &ddq, &wrench, 1, &derivatives),
            korvel_batch_dynamics_gradient(batch, n, &q, &dq, &ddq, &weights, &wrench, 1, &gradient),
            korvel_batch_forward_dynamics(batch, n, &q, &dq, &ddq, &wrench, 1, armature, &forward),
            korvel_batch_momentum(batch, n, &q, &dq, &ddq, &momentum),
            korvel_batch_body_jacobians(batch, n, &q, &dq, &point, points)};
  }

  korvel_batch_input q, dq, ddq, weights;
  std::ptrdiff_t n;
  korvel_batch_output output;
  korvel_batch_point point;
  std::ptrdiff_t points = 1;
  int body = 3;
  const float* armature = nullptr;
};

TEST_F(Dynamics, RefusesWhatIsNoArgument) {
  korvel_batch* object = nullptr;
  ASSERT_EQ(korvel_batch_create(&object, 1, nullptr), KORVEL_BATCH_OK);
  std::vector<float> rotors_with_one(KORVEL_BATCH_JOINTS);
  const auto spoilt_rotor = [&](float value) {
    return [&rotors_with_one, value](Calls& c) {
      rotors_with_one.back() = value;
      c.armature = rotors_with_one.data();
    };
  };
  constexpr int ok = KORVEL_BATCH_OK;
  struct Fault {
    const char* name;
    std::function<void(Calls&)> spoil;
    std::array<int, 5> statuses;  ///< of derivatives, gradient, forward dynamics, momentum, jacobians
  };
  const Fault faults[]{
      {"no fault", [](Calls&) {}, {ok, ok, ok, ok, ok}},
      {"no states", [](Calls& c) { c.n = 0; }, {2, 2, 2, 2, 2}},
      {"no positions", [](Calls& c) { c.q.data = nullptr; }, {1, 1, 1, 1, 1}},
      {"no velocities", [](Calls& c) { c.dq.data = nullptr; }, {1, 1, 1, 1, ok}},
      {"no accelerations", [](Calls& c) { c.ddq.data = nullptr; }, {1, 1, 1, 1, ok}},
      {"no weights", [](Calls& c) { c.weights.data = nullptr; }, {ok, 1, ok, ok, ok}},
      {"stride of no float", [](Calls& c) { c.q.state = 6; }, {3, 3, 3, 3, 3}},
      {"no body for a wrench", [](Calls& c) { c.body = 25; }, {4, 4, 4, ok, ok}},
      {"negative rotor", spoilt_rotor(-1e-6F), {ok, ok, 5, ok, ok}},
      {"rotor that is no number", spoilt_rotor(std::numeric_limits<float>::quiet_NaN()), {ok, ok, 5, ok, ok}},
      {"no point", [](Calls& c) { c.points = 0; }, {ok, ok, ok, ok, 2}},
      {"no body for a point", [](Calls& c) { c.point.body = -1; }, {ok, ok, ok, ok, 4}},
      {"place that is infinite",
       [](Calls& c) { c.point.place[1] = std::numeric_limits<float>::infinity(); },
       {ok, ok, ok, ok, 5}},
      {"bias without velocities",
       [](Calls& c) {
         c.point.bias = c.output;
         c.dq.data = nullptr;
       },
       {1, 1, 1, 1, 1}},
      {"results on one another", [](Calls& c) { c.output.state = c.point.jacobian.state = 4; }, {3, 3, 3, 3, 3}},
      {"no results", [](Calls& c) { c.output.data = c.point.jacobian.data = nullptr; }, {1, 1, 1, 1, 1}},
  };
  Rows to(states.count, 180);
  for (const Fault& fault : faults) {
    Calls calls(states, to);
    fault.spoil(calls);
    std::fill(to.values.begin(), to.values.end(), 77.0F);
    const auto statuses = calls.run(object);
    EXPECT_EQ(statuses, fault.statuses) << fault.name << ": " << korvel_batch_error();
    const bool all_refused = std::find(statuses.begin(), statuses.end(), ok) == statuses.end();
    const auto untouched = std::count(to.values.begin(), to.values.end(), 77.0F);
    EXPECT_TRUE(!all_refused || untouched == static_cast<std::ptrdiff_t>(to.values.size())) << fault.name;
    EXPECT_EQ(calls.run(nullptr), (std::array<int, 5>{1, 1, 1, 1, 1})) << fault.name;
  }
  korvel_batch_destroy(object);
}

}  // namespace
}  // namespace korvel::tests
