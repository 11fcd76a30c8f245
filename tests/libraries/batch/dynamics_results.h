#pragma once

#include <Eigen/Core>
#include <array>
#include <vector>

#include "contract/states.h"
#include "tests/libraries/batch/module_results.h"

namespace korvel::tests {

using Matrix30 = Eigen::Matrix<float, coordinates, coordinates, Eigen::RowMajor>;
using Matrix6 = Eigen::Matrix<float, 6, coordinates, Eigen::RowMajor>;

/// The rotor inertia of a servo behind its gear, for each joint.
inline constexpr float rotor = 1e-3F;
inline const std::vector<float>& rotors() {
  static const std::vector<float> all(KORVEL_BATCH_JOINTS, rotor);
  return all;
}

/// The point whose jacobian is computed.
inline constexpr int hand = 24;
inline constexpr float place[3] = {0.05F, -0.02F, 0.1F};

/// Results of the operations of batch_dynamics.h.
struct DynamicsResults {
  explicit DynamicsResults(std::ptrdiff_t count) : n(count) {}

  std::array<const Rows*, 17> all() const {
    return {
        &forces, &position_packed, &velocity_packed, &position, &velocity, &weighted, &by_q,     &by_dq,        &by_ddq,
        &ddq,    &residual,        &matrix,          &momentum, &rate,     &bias,     &jacobian, &jacobian_bias};
  }

  std::ptrdiff_t n;
  Rows forces{n, 30}, position_packed{n, 360}, velocity_packed{n, 450}, position{n, 900}, velocity{n, 900};
  Rows weighted{n, 30}, by_q{n, 30}, by_dq{n, 30}, by_ddq{n, 30};
  Rows ddq{n, 30}, residual{n, 30};
  Rows matrix{n, 180}, momentum{n, 6}, rate{n, 6}, bias{n, 6};
  Rows jacobian{n, 180}, jacobian_bias{n, 6};
};

/// Computes with wrenches on all bodies. The accelerations serve as weights and as forces too.
inline DynamicsResults dynamics_results(const Batch& batch, const States& states) {
  const std::ptrdiff_t n = states.count;
  DynamicsResults results(n);
  const auto q = input(states.q);
  const auto dq = input(states.dq);
  const auto ddq = input(states.ddq);
  const auto wrenches = wrenches_of(states);
  batch.dynamics_derivatives(n, q, dq, ddq,
                             {output(results.forces), output(results.position_packed), output(results.velocity_packed),
                              output(results.position), output(results.velocity)},
                             wrenches);
  batch.dynamics_gradient(
      n, q, dq, ddq, ddq,
      {output(results.weighted), output(results.by_q), output(results.by_dq), output(results.by_ddq)}, wrenches);
  batch.forward_dynamics(n, q, dq, ddq, {output(results.ddq), output(results.residual)}, rotors().data(), wrenches);
  batch.momentum(n, q, dq,
                 {output(results.matrix), output(results.momentum), output(results.rate), output(results.bias)}, &ddq);
  batch.body_jacobians(
      n, q, {{hand, {place[0], place[1], place[2]}, output(results.jacobian), output(results.jacobian_bias)}}, &dq);
  return results;
}

/// Numbers of one state.
template <typename Matrix>
Eigen::MatrixXd matrix_of(const Rows& rows, std::ptrdiff_t s) {
  return Eigen::Map<const Matrix>(rows.of_state(s)).template cast<double>();
}
inline Eigen::VectorXd vector_of(const Rows& rows, std::ptrdiff_t s) {
  return Eigen::Map<const Eigen::VectorXf>(rows.of_state(s), rows.numbers).cast<double>();
}
/// The largest error as a share of the largest number of the same row, or of a floor.
inline double largest_error(const Eigen::MatrixXd& actual, const Eigen::MatrixXd& expected, double floor = 0) {
  return ((actual - expected).cwiseAbs().rowwise().maxCoeff().array() /
          expected.cwiseAbs().rowwise().maxCoeff().array().max(floor))
      .maxCoeff();
}

}  // namespace korvel::tests
