/// Calls of the interface with arguments that it allows, and what each must do.

#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "host/validate/core/require.h"
#include "host/validate/fuzz/fuzzer.h"

namespace korvel::validate {

namespace {

using QZ::Math::Transform;
using tesk::RigidBodySystem;
using Limits = std::numeric_limits<float>;

constexpr std::array joint_inputs{Result::positions, Result::velocities, Result::accelerations};

/// Largest difference of two rotations' entries.
float distance(const Transform& a, const Transform& b) {
  const auto rotation = [](const Transform& T) {
    return Eigen::Map<const Eigen::Matrix<float, 3, 3, Eigen::RowMajor>, 0, Eigen::OuterStride<4>>(&T.r00);
  };
  return (rotation(a) - rotation(b)).cwiseAbs().maxCoeff();
}

}  // namespace

// ---- Setters --------------------------------------------------------------------------------------------------------

void Fuzzer::setRootPose(Object& object) {
  const bool rigid = !one_in(8);
  const Transform pose = rigid ? rigid_pose() : any_pose();
  object.robot->setRootPose(pose);
  object.model.root_pose = pose;
  const Transform stored = object.robot->getRootPose();
  require(shows(&stored.tx, pose.tx) && shows(&stored.ty, pose.ty) && shows(&stored.tz, pose.tz),
          "the root's position is not the one that was set");
  // Three angles, each rounded once, and the products of their sines and cosines.
  require(!rigid || distance(stored, pose) <= 8 * Limits::epsilon(), "the root's rotation is not the one that was set");
  const std::ptrdiff_t first = layout()[Result::poses].first;
  expect_repeated(object, {{first, first + 12}}, [&](RigidBodySystem& robot) { robot.setRootPose(pose); });
}

void Fuzzer::set_root_rates(Object& object) {
  const QZ::Math::Velocity6D rates(value(2), value(2), value(2), value(2), value(2), value(2));
  const bool velocity = one_in(2);
  velocity ? object.robot->setRootVelocity(rates) : object.robot->setRootAcceleration(rates);
  object.model.expect(rates, velocity ? Result::root_velocity : Result::root_acceleration);
}

void Fuzzer::setJointAngles(Object& object) {
  static constexpr std::array setters{&RigidBodySystem::setJointAnglesPos, &RigidBodySystem::setJointAnglesVel,
                                      &RigidBodySystem::setJointAnglesAcc};
  const auto derivative = index(3);
  const std::vector<float> all = values(3, masses_.size() - 1);
  (object.robot.get()->*setters[derivative])(
      Eigen::Map<const Eigen::ArrayXf>(all.data(), static_cast<Eigen::Index>(all.size())));
  std::copy_n(all.begin(), masses_.size() - 1, object.model.place(joint_inputs[derivative]));
}

void Fuzzer::set_joint_angle(Object& object) {
  static constexpr std::array setters{&RigidBodySystem::setJointAnglePos, &RigidBodySystem::setJointAngleVel,
                                      &RigidBodySystem::setJointAngleAcc};
  const auto derivative = index(3);
  const unsigned long j = any_joint();
  const float number = value(3);
  (object.robot.get()->*setters[derivative])(j, number);
  object.model.expect(number, joint_inputs[derivative], j);
}

void Fuzzer::setExternalWrench(Object& object) {
  const unsigned long b = any_body();
  const std::vector<float> wrench = values(4, 6);
  object.robot->setExternalWrench(b, wrench);
  object.model.loads[b] = {{wrench.begin(), wrench.begin() + 6}, {}};
}

void Fuzzer::set_external_wrench_in_frame(Object& object) {
  const unsigned long b = any_body();
  const std::vector<float> wrench = values(4, 6);
  const Transform frame = one_in(4) ? any_pose() : rigid_pose();
  object.robot->setExternalWrench(b, wrench, frame);
  object.model.loads[b] = {{wrench.begin(), wrench.begin() + 6}, frame};
}

void Fuzzer::setPose(Object& object) {
  const unsigned long b = any_body();
  const Transform pose = any_pose();
  object.robot->setPose(b, pose);
  object.model.expect(pose, Result::poses, b);
}

void Fuzzer::setVolatilePose(Object& object) {
  const Transform pose = any_pose();
  object.robot->setVolatilePose(0, pose);
  object.model.expect(pose, Result::volatile_poses);
}

// ---- Computations ---------------------------------------------------------------------------------------------------

void Fuzzer::computeFwdKinematicsExceptRoot(Object& object) {
  object.robot->computeFwdKinematicsExceptRoot();
  object.model.remember(Stage::except_root, inertia_changes_);
  expect_repeated(object, layout().written_by({Stage::except_root}), [&](RigidBodySystem& robot) {
    object.model.write_inputs(robot);
    robot.computeFwdKinematicsExceptRoot();
  });
}

void Fuzzer::computeFwdKinematicsOnlyRoot(Object& object) {
  object.robot->computeFwdKinematicsOnlyRoot();
  object.model.remember(Stage::only_root, inertia_changes_);
  expect_repeated(object, layout().written_by({Stage::only_root}),
                  [&](RigidBodySystem& robot) { object.model.repeat_history(robot); });
  // The centre of mass goes back to the inertias of the last computeFwdKinematicsExceptRoot, which may be gone.
  const auto* in_root = object.model.last(Stage::except_root);
  if (in_root != nullptr && in_root->inertia_changes != inertia_changes_) {
    object.model.expect(object.robot->getComPosition(), Result::com);
  }
}

void Fuzzer::computeFwdKinematics(Object& object) {
  object.robot->computeFwdKinematics();
  object.model.remember(Stage::except_root, inertia_changes_);
  object.model.remember(Stage::only_root, inertia_changes_);
  expect_repeated(object, layout().written_by({Stage::except_root, Stage::only_root}), [&](RigidBodySystem& robot) {
    object.model.write_inputs(robot);
    robot.computeFwdKinematicsExceptRoot();
    robot.computeFwdKinematicsOnlyRoot();
  });
}

void Fuzzer::computeGeneralizedMass(Object& object) {
  object.robot->computeGeneralizedMass();
  expect_repeated(object, layout().written_by({Stage::generalized_mass}), [&](RigidBodySystem& robot) {
    object.model.repeat_history(robot);
    robot.computeGeneralizedMass();
  });
  // A fresh object has the same table of inertias, so here is something that does not come from it.
  const float difference = object.robot->getGeneralizedMass()(0, 0) - sum_of_masses();
  require(std::abs(difference) <= 32 * Limits::epsilon() * sum_of_masses(), "the mass matrix has not the robot's mass");
}

void Fuzzer::computeInverseDynamics(Object& object) {
  object.robot->computeInverseDynamics();
  object.model.remember(Stage::inverse_dynamics, inertia_changes_);
  expect_repeated(object, layout().written_by({Stage::inverse_dynamics}), [&](RigidBodySystem& robot) {
    object.model.write_inputs(robot);
    robot.computeInverseDynamics();
  });
}

void Fuzzer::computePartialComJacobian(Object& object) {
  const Eigen::Index size = layout().length(Result::mass_matrix);
  const std::array<Eigen::Index, 5> widths{0, 1, size - 1, size, size + 15};
  RigidBodySystem::ComJacobian J = RigidBodySystem::ComJacobian::Constant(3, widths[index(widths.size())], 7.0F);
  const RigidBodySystem::ComJacobian before = J;
  const float* storage = J.data();
  const bool known = !one_in(8);
  const unsigned long b = known ? any_body() : no_body();
  object.robot->computePartialComJacobian(b, J);
  require(J.data() == storage || (known && before.cols() != size), "the jacobian's storage has moved");
  if (!known) return require(J.cols() == before.cols() && J == before, "a jacobian without any body has been written");
  require(J.cols() == size, "the jacobian has not become 3 x {}", size);
  RigidBodySystem::ComJacobian expected;
  expect_repeated(object, {}, [&](RigidBodySystem& robot) {
    object.model.repeat_history(robot);
    robot.computePartialComJacobian(b, expected);
  });
  require(first_difference(J.data(), expected.data(), J.size()) == J.size(), "a fresh object has another jacobian");
}

void Fuzzer::computePartialComPositionInRoot(Object& object) {
  const unsigned long b = one_in(8) ? no_body() : any_body();
  const QZ::Math::Position3D com = object.robot->computePartialComPositionInRoot(b);
  if (b == 0 || b >= masses_.size())
    return require(object.model.shows(com, Result::com),
                   "without no body or the root, the centre of mass is not that in the world");
  expect_repeated(object, {}, [&](RigidBodySystem& robot) {
    object.model.repeat_history(robot);
    const QZ::Math::Position3D again = robot.computePartialComPositionInRoot(b);
    require(shows(&com.x, again),
            "the robot without body {} has its centre of mass at ({:a}, {:a}, {:a}), on a fresh object at ({:a}, {:a}, "
            "{:a})",
            b, com.x, com.y, com.z, again.x, again.y, again.z);
  });
}

// ---- What objects share, and their lives ----------------------------------------------------------------------------

void Fuzzer::setBodyInertia(Object& object) {
  const unsigned long b = any_body();
  const float mass = 1.25F + random_(1);
  const QZ::Math::Position3D com(random_(0.1F), random_(0.1F), random_(0.1F));
  Eigen::Matrix3f inertia;
  random_.fill(inertia, 0.01F);
  inertia.diagonal().array() += 0.05F;
  object.robot->setBodyInertia(b, mass, com, inertia);
  masses_[b] = mass;
  mass_roundings_ += 2;
  ++inertia_changes_;
  expect_total_mass(*object.robot);
}

void Fuzzer::create(Object& object) {
  replace(object, {module_.create(), pristine_.model, false});
  mass_roundings_ = static_cast<long>(masses_.size());
  largest_total_mass_ = 0;
  ++inertia_changes_;
  expect_total_mass(*object.robot);
}

void Fuzzer::clone(Object& object) {
  const Object& source = objects_[index(objects_.size())];
  replace(object, {copy(*source.robot), source.model, true});
}

}  // namespace korvel::validate
