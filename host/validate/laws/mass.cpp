#include <fmt/format.h>

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cstring>

#include "host/validate/core/require.h"
#include "host/validate/laws/laws.h"

namespace korvel::validate::laws {

namespace {

std::string symmetric_and_positive(const Subject& subject) {
  const Specimen robot(subject);
  const auto samples = robot.samples(256);
  double smallest = 1;
  for (const auto& [seed, state] : samples) {
    const MassMatrix M = robot.mass_matrix(state);
    const Eigen::MatrixXf& seen = robot->getGeneralizedMass();
    const Eigen::MatrixXf transposed = seen.transpose();
    require(std::memcmp(seen.data(), transposed.data(), sizeof(float) * static_cast<std::size_t>(seen.size())) == 0,
            "the mass matrix of state {} and its transpose differ", seed);
    const Coordinates scale = M.diagonal().cwiseAbs().cwiseSqrt().cwiseInverse();
    const MassMatrix scaled = scale.asDiagonal() * M * scale.asDiagonal();
    const double least = Eigen::SelfAdjointEigenSolver<MassMatrix>(scaled, Eigen::EigenvaluesOnly).eigenvalues()(0);
    require(least > 0, "the mass matrix of state {} has the eigenvalue {:.2e}, its diagonal scaled to 1", seed, least);
    smallest = std::min(smallest, least);
  }
  return fmt::format("smallest eigenvalue {:.1e}, its diagonal scaled to 1, {} states", smallest, samples.size());
}

std::string limbs_are_uncoupled(const Subject& subject) {
  const Specimen robot(subject);
  const auto samples = robot.samples(256);
  int zeros = 0;
  for (const auto& [seed, state] : samples) {
    const MassMatrix M = robot.mass_matrix(state);
    zeros = 0;
    for (int b = 1; b < robot.bodies(); ++b) {
      for (int c = 1; c < b; ++c) {
        if (robot.moves(coordinate_of(c), b)) continue;
        Deviations(0).compare(M(coordinate_of(b), coordinate_of(c)), 0.0, 1,
                              {seed, "mass matrix between another limb and body", b});
        ++zeros;
      }
    }
  }
  if (zeros == 0) throw NotPossible("not of this robot: it has no two limbs");
  return fmt::format("{} entries below the diagonal are zero, {} states", zeros, samples.size());
}

MatrixXd partial_com_jacobian(const Specimen& robot, int b) {
  tesk::RigidBodySystem::ComJacobian J;
  robot->computePartialComJacobian(static_cast<unsigned long>(b), J);
  return J.cast<double>();
}

// Momentum along the root's axes per unit velocity, both from the mass matrix and from the robots without a body.
std::string root_rows_are_momentum(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic());
  const MatrixXd scale = robot.inertia_roots().head(3) * robot.inertia_roots().transpose();
  return deviations.over(robot.samples(128), [&](std::uint64_t seed, const State& state) {
    robot.compute(state);
    const MassMatrix M = robot->getGeneralizedMass().cast<double>();
    MatrixXd root(3, 6);
    root << robot.mass() * Matrix3d::Identity(), -robot.mass() * cross(vector(robot->getComPositionInRoot()));
    deviations.compare(M.topLeftCorner(3, 6), root, scale.leftCols(6), {seed, "mass matrix, linear momentum"});
    MatrixXd sum = MatrixXd::Zero(3, M.cols());
    for (int b = 0; b < robot.bodies(); ++b) sum += partial_com_jacobian(robot, b);
    // Each body is left out once.
    deviations.compare(M.topRows(3), robot.pose(0).linear().transpose() * sum / (robot.bodies() - 1), scale,
                       {seed, "linear momentum of the mass matrix against that of all partial robots"});
  });
}

/// First moment of mass of the robot without body b, root axes.
MatrixXd partial_moments(const Specimen& robot, const State& state) {
  robot.set_joints(state);
  MatrixXd moments(3, robot.bodies());
  // Asked to leave out the root, the module answers with the whole robot's centre of mass in the world.
  moments.col(0) = robot.mass() * vector(robot->getComPositionInRoot()) - robot.mass(0) * robot.com(0);
  for (int b = 1; b < robot.bodies(); ++b) {
    const auto body = static_cast<unsigned long>(b);
    moments.col(b) =
        static_cast<double>(robot->getPartialMass(body)) * vector(robot->computePartialComPositionInRoot(body));
  }
  return moments;
}

std::string partial_com_jacobian_is_derivative(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.dynamic() + angle_rounding);
  const Vector3d scale = Vector3d::Constant(robot.mass() * robot.reach());
  return deviations.over(robot.samples(64), [&](std::uint64_t seed, const State& state) {
    robot.compute(state);
    const Matrix3d R = robot.pose(0).linear();
    const MatrixXd moments = partial_moments(robot, state);
    std::vector<MatrixXd> jacobians;
    for (int b = 0; b < robot.bodies(); ++b) jacobians.push_back(partial_com_jacobian(robot, b));
    for (int b = 0; b < robot.bodies(); ++b) {
      const MatrixXd& J = jacobians[static_cast<std::size_t>(b)];
      const double mass = robot.mass() - robot.mass(b);
      deviations.compare(J.leftCols(3), mass * R, robot.mass(), {seed, "linear columns without body", b});
      deviations.compare(J.middleCols(3, 3), -R * cross(moments.col(b)), scale(0),
                         {seed, "angular columns without body", b});
    }
    for (int j = 0; j < robot.joints(); ++j) {
      const MatrixXd rates =
          derivative_of_first_degree(state, j, [&](const State& moved) { return partial_moments(robot, moved); });
      for (int b = 0; b < robot.bodies(); ++b) {
        deviations.compare(jacobians[static_cast<std::size_t>(b)].col(coordinate_of_joint(j)), R * rates.col(b), scale,
                           {seed, "column of a joint angle without body", b});
      }
    }
  });
}

}  // namespace

Checks mass_matrix() {
  return {
      law("laws.mass-matrix-positive", "The mass matrix is symmetric bit for bit and positive definite.",
          symmetric_and_positive),
      law("laws.mass-matrix-limbs", "Entries of the mass matrix that couple two limbs are exactly zero.",
          limbs_are_uncoupled),
      law("laws.mass-matrix-momentum", "The first three rows of the mass matrix are the momentum per velocity.",
          root_rows_are_momentum),
      law("laws.partial-com-jacobian", "The partial jacobian is the derivative of partial mass times centre of mass.",
          partial_com_jacobian_is_derivative)};
}

}  // namespace korvel::validate::laws
