#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cstring>

#include "validator/laws/laws.h"

// Laws that hold of positions: poses, centres of mass, jacobians, mass matrices.
namespace korvel::validate::laws {

namespace {

/// Scale of a pose's 3 x 4 numbers.
MatrixXd pose_scale(double distance) {
  MatrixXd scale = MatrixXd::Ones(3, 4);
  scale.col(3).setConstant(distance);
  return scale;
}

void poses_are_rigid(const Specimen& robot, const State& state, Deviations& deviations) {
  robot.compute(state);
  for (int b = 0; b < robot.bodies(); ++b) {
    for (const Affine3d& pose : {robot.pose(b), robot.pose_in_root(b)}) {
      const Matrix3d R = pose.linear();
      deviations.compare(R * R.transpose(), Matrix3d::Identity(), 1, "R R' of body", b);
      require(!(R.determinant() < 0), "the pose of body {} of state {} is a mirror", b, deviations.seed());
    }
  }
}

void world_poses(const Specimen& robot, const State& state, Deviations& deviations) {
  robot.compute(state);
  const Affine3d root = robot.pose(0);
  const double distance = root.translation().norm() + robot.reach();
  const auto placed = affine(state.root_pose());
  deviations.compare(root.affine(), placed.affine(), pose_scale(distance), "pose of the root");
  for (int b = 0; b < robot.bodies(); ++b) {
    const Affine3d expected = root * robot.pose_in_root(b);
    deviations.compare(robot.pose(b).affine(), expected.affine(), pose_scale(distance), "pose of body", b);
  }
  deviations.compare(vector(robot->getComPosition()), root * vector(robot->getComPositionInRoot()), distance,
                     "centre of mass in the world");
}

void centres_of_mass(const Specimen& robot, const State& state, Deviations& deviations) {
  deviations.compare(static_cast<double>(robot->getMass()), robot.mass(), robot.mass(), "total mass");
  robot.compute(state);
  const double distance = robot.pose(0).translation().norm() + robot.reach();
  Vector3d moment = Vector3d::Zero();
  for (int b = 0; b < robot.bodies(); ++b) {
    moment += robot.mass(b) * (robot.pose_in_root(b) * robot.com(b));
    deviations.compare(vector(robot->getComPosition(static_cast<unsigned long>(b))), robot.pose(b) * robot.com(b),
                       distance, "centre of mass of body", b);
  }
  deviations.compare(vector(robot->getComPositionInRoot()), moment / robot.mass(), robot.reach(),
                     "centre of mass in the root");
  for (int b = 1; b < robot.bodies(); ++b) {
    deviations.compare(robot.partial_moment(b) + robot.mass(b) * (robot.pose_in_root(b) * robot.com(b)), moment,
                       robot.mass() * robot.reach(), "first moment, the sum of the rest and body", b);
  }
}

/// All poses in the root side by side.
MatrixXd all_poses(const Specimen& robot, const State& state) {
  robot.set_joints(state);
  MatrixXd poses(3, 4 * robot.bodies());
  for (int b = 0; b < robot.bodies(); ++b) poses.middleCols<4>(4 * b) = robot.pose_in_root(b).affine();
  return poses;
}

/// Rotation vector and velocity of the root's origin of a body that moves on from its pose at this rate.
Vector6 twist(const Affine3d& pose, const MatrixXd& rate) {
  const Matrix3d turning = rate.leftCols(3) * pose.linear().transpose();
  const Vector3d w(turning(2, 1) - turning(1, 2), turning(0, 2) - turning(2, 0), turning(1, 0) - turning(0, 1));
  return (Vector6() << w / 2, rate.col(3) - (w / 2).cross(pose.translation())).finished();
}

// The bound is that of the column itself, and at most three times that of the derivative: once, and by way of the
// rotation vector.
void jacobian_is_derivative(const Specimen& robot, const State& state, Deviations& deviations) {
  Vector6 scale;
  scale << 1, 1, 1, robot.reach(), robot.reach(), robot.reach();
  const MatrixXd poses = all_poses(robot, state);
  const Jacobian J = robot.jacobian();
  MatrixXd root = MatrixXd::Zero(6, 6);
  root.topRightCorner(3, 3).setIdentity();
  root.bottomLeftCorner(3, 3).setIdentity();
  deviations.compare_exactly(MatrixXd(J.leftCols(6)), root, "the root's columns of the jacobian");
  for (int j = 0; j < robot.joints(); ++j) {
    const MatrixXd rates =
        derivative_of_first_degree(state, j, [&](const State& moved) { return all_poses(robot, moved); });
    for (int b = 0; b < robot.bodies(); ++b) {
      const MatrixXd rate = rates.middleCols<4>(4 * b);
      if (robot.moves(coordinate_of_joint(j), b)) {
        Affine3d pose = Affine3d::Identity();
        pose.affine() = poses.middleCols<4>(4 * b);
        deviations.compare(J.col(coordinate_of_joint(j)), twist(pose, rate), scale, "jacobian column of joint angle",
                           j);
      } else {
        deviations.compare_exactly(rate, MatrixXd(MatrixXd::Zero(3, 4)), "change by another limb's angle, pose of body",
                                   b);
      }
    }
  }
}

// The results must agree to the last bit, because none of them reads the root.
void root_leaves_what_is_relative_to_it(const Specimen& robot, const State& state, Deviations& deviations) {
  State moved = state;
  const State other = random_state(deviations.seed() + 128, robot.size());
  moved.q.head(6) = other.q.head(6);
  moved.dq.head(6) = other.dq.head(6);
  moved.ddq.head(6) = other.ddq.head(6);
  robot.compute(state);
  const std::vector<float> before = robot.everything();
  robot.compute(moved);
  const std::vector<float> after = robot.everything();
  const auto hold = [&](Result result, const char* what) {
    const auto [first, last] = Layout(robot.size())[result];
    const auto bytes = static_cast<std::size_t>(last - first) * sizeof(float);
    require(std::memcmp(before.data() + first, after.data() + first, bytes) == 0,
            "{} of state {} changes with the root's pose and rates", what, deviations.seed());
  };
  hold(Result::poses_in_root, "a pose in the root");
  hold(Result::com_in_root, "the centre of mass in the root");
  hold(Result::jacobian, "the jacobian in the root");
  hold(Result::mass_matrix, "the mass matrix");
}

// ---- Mass matrices -------------------------------------------------------------------------------------------------

constexpr std::uint64_t states = 256;

std::string symmetric_and_positive(const Subject& subject) {
  const Specimen robot(subject);
  double smallest = 1;
  for (std::uint64_t seed = subject.seed; seed < subject.seed + states; ++seed) {
    const MassMatrix M = robot.mass_matrix(random_state(seed, robot.size()));
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
  return fmt::format("smallest eigenvalue {:.1e}, its diagonal scaled to 1, {} states", smallest, states);
}

std::string limbs_are_uncoupled(const Subject& subject) {
  const Specimen robot(subject);
  int zeros = 0;
  for (std::uint64_t seed = subject.seed; seed < subject.seed + states; ++seed) {
    const MassMatrix M = robot.mass_matrix(random_state(seed, robot.size()));
    zeros = 0;
    for (int b = 1; b < robot.bodies(); ++b) {
      for (int c = 1; c < b; ++c) {
        if (robot.moves(coordinate_of(c), b)) continue;
        Deviations(0, seed).compare(M(coordinate_of(b), coordinate_of(c)), 0.0, 1,
                                    "mass matrix between another limb and body", b);
        ++zeros;
      }
    }
  }
  if (zeros == 0) throw NotPossible("not of this robot: it has no two limbs");
  return fmt::format("{} entries below the diagonal are zero, {} states", zeros, states);
}

MatrixXd partial_com_jacobian(const Specimen& robot, int b) {
  tesk::RigidBodySystem::ComJacobian J;
  robot->computePartialComJacobian(static_cast<unsigned long>(b), J);
  return J.cast<double>();
}

// Momentum along the root's axes per unit velocity, both from the mass matrix and from the robots without a body.
void root_rows_are_momentum(const Specimen& robot, const State& state, Deviations& deviations) {
  const MatrixXd scale = robot.inertia_roots().head(3) * robot.inertia_roots().transpose();
  robot.compute(state);
  const MassMatrix M = robot->getGeneralizedMass().cast<double>();
  MatrixXd root(3, 6);
  root << robot.mass() * Matrix3d::Identity(), -robot.mass() * cross(vector(robot->getComPositionInRoot()));
  deviations.compare(M.topLeftCorner(3, 6), root, scale.leftCols(6), "mass matrix, linear momentum");
  MatrixXd sum = MatrixXd::Zero(3, M.cols());
  for (int b = 0; b < robot.bodies(); ++b) sum += partial_com_jacobian(robot, b);
  // Each body is left out once.
  deviations.compare(M.topRows(3), robot.pose(0).linear().transpose() * sum / (robot.bodies() - 1), scale,
                     "linear momentum of the mass matrix against that of all partial robots");
}

/// First moment of mass of the robot without body b, root axes.
MatrixXd partial_moments(const Specimen& robot, const State& state) {
  robot.set_joints(state);
  MatrixXd moments(3, robot.bodies());
  // Asked to leave out the root, the module answers with the whole robot's centre of mass in the world.
  moments.col(0) = robot.mass() * vector(robot->getComPositionInRoot()) - robot.mass(0) * robot.com(0);
  for (int b = 1; b < robot.bodies(); ++b) moments.col(b) = robot.partial_moment(b);
  return moments;
}

void partial_com_jacobian_is_derivative(const Specimen& robot, const State& state, Deviations& deviations) {
  const Vector3d scale = Vector3d::Constant(robot.mass() * robot.reach());
  robot.compute(state);
  const Matrix3d R = robot.pose(0).linear();
  const MatrixXd moments = partial_moments(robot, state);
  std::vector<MatrixXd> jacobians;
  for (int b = 0; b < robot.bodies(); ++b) jacobians.push_back(partial_com_jacobian(robot, b));
  for (int b = 0; b < robot.bodies(); ++b) {
    const MatrixXd& J = jacobians[static_cast<std::size_t>(b)];
    const double mass = robot.mass() - robot.mass(b);
    deviations.compare(J.leftCols(3), mass * R, robot.mass(), "linear columns without body", b);
    deviations.compare(J.middleCols(3, 3), -R * cross(moments.col(b)), scale(0), "angular columns without body", b);
  }
  for (int j = 0; j < robot.joints(); ++j) {
    const MatrixXd rates =
        derivative_of_first_degree(state, j, [&](const State& moved) { return partial_moments(robot, moved); });
    for (int b = 0; b < robot.bodies(); ++b) {
      deviations.compare(jacobians[static_cast<std::size_t>(b)].col(coordinate_of_joint(j)), R * rates.col(b), scale,
                         "column of a joint angle without body", b);
    }
  }
}

}  // namespace

Checks positions() {
  // Two factors are rounded, or the poses and their sum.
  return {
      {"laws.poses-are-rigid", "The rotation of every pose is orthonormal and no mirror.",
       in_states<poses_are_rigid, 256, 0, 2>},
      {"laws.world-poses", "A pose in the world is the root's pose times the pose in the root.",
       in_states<world_poses, 256, 0, 1>},
      {"laws.centres-of-mass", "Centres of mass are the sums over bodies, and each body and the rest make the whole.",
       in_states<centres_of_mass, 256, 0, 2>},
      {"laws.jacobian", "A jacobian column is the derivative of the pose of every body below the joint.",
       in_states<jacobian_is_derivative, 64, 0, 4, 3>},
      {"laws.root-is-relative", "Poses, jacobian and mass matrix in the root do not know where the root is.",
       in_states<root_leaves_what_is_relative_to_it, 128, 0>},
      {"laws.mass-matrix-positive", "The mass matrix is symmetric bit for bit and positive definite.",
       symmetric_and_positive},
      {"laws.mass-matrix-limbs", "Entries of the mass matrix that couple two limbs are exactly zero.",
       limbs_are_uncoupled},
      {"laws.mass-matrix-momentum", "The first three rows of the mass matrix are the momentum per velocity.",
       in_states<root_rows_are_momentum, 128, 2>},
      {"laws.partial-com-jacobian", "The partial jacobian is the derivative of partial mass times centre of mass.",
       in_states<partial_com_jacobian_is_derivative, 64, 2, 0, 1>}};
}

}  // namespace korvel::validate::laws
