#include <fmt/format.h>

#include "host/validate/core/require.h"
#include "host/validate/laws/laws.h"

namespace korvel::validate::laws {

namespace {

/// Scale of a pose's 3 x 4 numbers.
MatrixXd pose_scale(double distance) {
  MatrixXd scale = MatrixXd::Ones(3, 4);
  scale.col(3).setConstant(distance);
  return scale;
}

std::string poses_are_rigid(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.kinematic());  // both factors are rounded
  return deviations.over(robot.samples(256), [&](std::uint64_t seed, const State& state) {
    robot.compute(state);
    for (int b = 0; b < robot.bodies(); ++b) {
      for (const Affine3d& pose : {robot.pose(b), robot.pose_in_root(b)}) {
        const Matrix3d R = pose.linear();
        deviations.compare(R * R.transpose(), Matrix3d::Identity(), 1, {seed, "R R' of body", b});
        require(!(R.determinant() < 0), "the pose of body {} of state {} is a mirror", b, seed);
      }
    }
  });
}

std::string world_poses(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(robot.kinematic());
  return deviations.over(robot.samples(256), [&](std::uint64_t seed, const State& state) {
    robot.compute(state);
    const Affine3d root = robot.pose(0);
    const double distance = root.translation().norm() + robot.reach();
    const auto placed = affine(state.root_pose());
    deviations.compare(root.affine(), placed.affine(), pose_scale(distance), {seed, "pose of the root"});
    for (int b = 0; b < robot.bodies(); ++b) {
      const Affine3d expected = root * robot.pose_in_root(b);
      deviations.compare(robot.pose(b).affine(), expected.affine(), pose_scale(distance), {seed, "pose of body", b});
    }
    deviations.compare(vector(robot->getComPosition()), root * vector(robot->getComPositionInRoot()), distance,
                       {seed, "centre of mass in the world"});
  });
}

std::string centres_of_mass(const Subject& subject) {
  const Specimen robot(subject);
  Deviations deviations(2 * robot.kinematic());  // the poses' rounding and the sum's
  deviations.compare(static_cast<double>(robot->getMass()), robot.mass(), robot.mass(), {subject.seed, "total mass"});
  return deviations.over(robot.samples(256), [&](std::uint64_t seed, const State& state) {
    robot.compute(state);
    const double distance = robot.pose(0).translation().norm() + robot.reach();
    Vector3d moment = Vector3d::Zero();
    for (int b = 0; b < robot.bodies(); ++b) {
      moment += robot.mass(b) * (robot.pose_in_root(b) * robot.com(b));
      deviations.compare(vector(robot->getComPosition(static_cast<unsigned long>(b))), robot.pose(b) * robot.com(b),
                         distance, {seed, "centre of mass of body", b});
    }
    deviations.compare(vector(robot->getComPositionInRoot()), moment / robot.mass(), robot.reach(),
                       {seed, "centre of mass in the root"});
    for (int b = 1; b < robot.bodies(); ++b) {
      const auto body = static_cast<unsigned long>(b);
      const auto rest = static_cast<double>(robot->getPartialMass(body));
      const Vector3d rest_moment = rest * vector(robot->computePartialComPositionInRoot(body));
      deviations.compare(rest_moment + robot.mass(b) * (robot.pose_in_root(b) * robot.com(b)), moment,
                         robot.mass() * robot.reach(), {seed, "first moment, the sum of the rest and body", b});
    }
  });
}

/// All poses in the root side by side.
MatrixXd all_poses(const Specimen& robot, const State& state) {
  robot.set_joints(state);
  MatrixXd poses(3, 4 * robot.bodies());
  for (int b = 0; b < robot.bodies(); ++b) poses.middleCols<4>(4 * b) = robot.pose_in_root(b).affine();
  return poses;
}

/// Rotation vector and velocity of the root's origin of a body that moves on from its pose at this rate.
Motion twist(const Affine3d& pose, const MatrixXd& rate) {
  const Matrix3d turning = rate.leftCols(3) * pose.linear().transpose();
  const Vector3d w(turning(2, 1) - turning(1, 2), turning(0, 2) - turning(2, 0), turning(1, 0) - turning(0, 1));
  Motion twist;
  twist << w / 2, rate.col(3) - (w / 2).cross(pose.translation());
  return twist;
}

std::string jacobian_is_derivative(const Subject& subject) {
  const Specimen robot(subject);
  // Of the column itself, and at most three times that of the derivative: once, and by way of the rotation vector.
  Deviations deviations(robot.kinematic() + 3 * (robot.kinematic() + angle_rounding));
  Motion scale;
  scale << 1, 1, 1, robot.reach(), robot.reach(), robot.reach();
  return deviations.over(robot.samples(64), [&](std::uint64_t seed, const State& state) {
    const MatrixXd poses = all_poses(robot, state);
    const Jacobian J = robot.jacobian();
    MatrixXd root = MatrixXd::Zero(6, 6);
    root.topRightCorner(3, 3).setIdentity();
    root.bottomLeftCorner(3, 3).setIdentity();
    Deviations(0).compare(J.leftCols(6), root, 1, {seed, "the root's columns of the jacobian"});
    for (int j = 0; j < robot.joints(); ++j) {
      const MatrixXd rates =
          derivative_of_first_degree(state, j, [&](const State& moved) { return all_poses(robot, moved); });
      for (int b = 0; b < robot.bodies(); ++b) {
        const MatrixXd rate = rates.middleCols<4>(4 * b);
        if (robot.moves(coordinate_of_joint(j), b)) {
          Affine3d pose = Affine3d::Identity();
          pose.affine() = poses.middleCols<4>(4 * b);
          deviations.compare(J.col(coordinate_of_joint(j)), twist(pose, rate), scale,
                             {seed, "jacobian column of joint angle", j});
        } else {
          Deviations(0).compare(rate, MatrixXd::Zero(3, 4), 1,
                                {seed, "change by another limb's angle, pose of body", b});
        }
      }
    }
  });
}

}  // namespace

Checks kinematics() {
  return {law("laws.poses-are-rigid", "The rotation of every pose is orthonormal and no mirror.", poses_are_rigid),
          law("laws.world-poses", "A pose in the world is the root's pose times the pose in the root.", world_poses),
          law("laws.centres-of-mass",
              "Centres of mass are the sums over bodies, and each body and the rest make the whole.", centres_of_mass),
          law("laws.jacobian", "A jacobian column is the derivative of the pose of every body below the joint.",
              jacobian_is_derivative)};
}

}  // namespace korvel::validate::laws
