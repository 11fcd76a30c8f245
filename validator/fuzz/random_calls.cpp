/// Calls of the interface with arguments that it allows, and what each must do.

#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "validator/fuzz/fuzzer.h"

namespace korvel::validate {

namespace {

using QZ::Math::Transform;
using tesk::RigidBodySystem;
using Object = Fuzzer::Object;
using Limits = std::numeric_limits<float>;

constexpr std::array joint_inputs{Result::positions, Result::velocities, Result::accelerations};

/// Largest difference of two rotations' entries.
float distance(const Transform& a, const Transform& b) {
  const auto rotation = [](const Transform& T) {
    return Eigen::Map<const Eigen::Matrix<float, 3, 3, Eigen::RowMajor>, 0, Eigen::OuterStride<4>>(&T.r00);
  };
  return (rotation(a) - rotation(b)).cwiseAbs().maxCoeff();
}

// ---- Setters --------------------------------------------------------------------------------------------------------

void setRootPose(Fuzzer& fuzzer, Object& object) {
  const bool rigid = !fuzzer.one_in(8);
  const Transform pose = rigid ? fuzzer.rigid_pose() : fuzzer.any<Transform>();
  object.robot->setRootPose(pose);
  object.model.root_pose = pose;
  const Transform stored = object.robot->getRootPose();
  require(shows(&stored.tx, pose.tx) && shows(&stored.ty, pose.ty) && shows(&stored.tz, pose.tz),
          "the root's position is not the one that was set");
  // Three angles, each rounded once, and the products of their sines and cosines.
  require(!rigid || distance(stored, pose) <= 8 * Limits::epsilon(), "the root's rotation is not the one that was set");
  const std::ptrdiff_t first = fuzzer.layout()[Result::poses].first;
  fuzzer.expect_repeated(object, {{first, first + 12}}, [&](RigidBodySystem& robot) { robot.setRootPose(pose); });
}

void set_root_rates(Fuzzer& fuzzer, Object& object) {
  const auto rates = fuzzer.any<QZ::Math::Velocity6D>();
  const bool velocity = fuzzer.one_in(2);
  velocity ? object.robot->setRootVelocity(rates) : object.robot->setRootAcceleration(rates);
  object.model.expect(rates, velocity ? Result::root_velocity : Result::root_acceleration);
}

void setJointAngles(Fuzzer& fuzzer, Object& object) {
  static constexpr std::array setters{&RigidBodySystem::setJointAnglesPos, &RigidBodySystem::setJointAnglesVel,
                                      &RigidBodySystem::setJointAnglesAcc};
  const auto derivative = fuzzer.index(3);
  const std::vector<float> all = fuzzer.values(3, fuzzer.masses().size() - 1);
  (object.robot.get()->*setters[derivative])(
      Eigen::Map<const Eigen::ArrayXf>(all.data(), static_cast<Eigen::Index>(all.size())));
  std::copy_n(all.begin(), fuzzer.masses().size() - 1, object.model.place(joint_inputs[derivative]));
}

void set_joint_angle(Fuzzer& fuzzer, Object& object) {
  static constexpr std::array setters{&RigidBodySystem::setJointAnglePos, &RigidBodySystem::setJointAngleVel,
                                      &RigidBodySystem::setJointAngleAcc};
  const auto derivative = fuzzer.index(3);
  const unsigned long j = fuzzer.any_joint();
  const float number = fuzzer.value(3);
  (object.robot.get()->*setters[derivative])(j, number);
  object.model.expect(number, joint_inputs[derivative], j);
}

template <bool in_frame>
void setExternalWrench(Fuzzer& fuzzer, Object& object) {
  const unsigned long b = fuzzer.any_body();
  const std::vector<float> wrench = fuzzer.values(4, 6);
  Transform frame;
  if (in_frame) frame = fuzzer.one_in(4) ? fuzzer.any<Transform>() : fuzzer.rigid_pose();
  const auto set = [=](RigidBodySystem& robot, const std::vector<float>& values) {
    in_frame ? robot.setExternalWrench(b, values, frame) : robot.setExternalWrench(b, values);
  };
  set(*object.robot, wrench);
  // Only the first six values of a wrench count.
  object.model.loads[b] = [=](RigidBodySystem& robot) { set(robot, {wrench.begin(), wrench.begin() + 6}); };
}

void setPose(Fuzzer& fuzzer, Object& object) {
  const unsigned long b = fuzzer.any_body();
  const Transform pose = fuzzer.any<Transform>();
  object.robot->setPose(b, pose);
  object.model.expect(pose, Result::poses, b);
}

void setVolatilePose(Fuzzer& fuzzer, Object& object) {
  const Transform pose = fuzzer.any<Transform>();
  object.robot->setVolatilePose(0, pose);
  object.model.expect(pose, Result::volatile_poses);
}

// ---- Computations ---------------------------------------------------------------------------------------------------

/// A computation that writes the results of some stages. It reads the inputs, or what earlier ones have left.
template <void (RigidBodySystem::*compute)() noexcept, bool reads_history, Stage... stages>
void computation(Fuzzer& fuzzer, Object& object) {
  (object.robot.get()->*compute)();
  (object.model.remember(stages, fuzzer.inertia_changes()), ...);
  fuzzer.expect_repeated(object, fuzzer.layout().written_by({stages...}), [&](RigidBodySystem& robot) {
    reads_history ? object.model.repeat_history(robot) : object.model.write_inputs(robot);
    (run(stages, robot), ...);
  });
}

void computeFwdKinematicsOnlyRoot(Fuzzer& fuzzer, Object& object) {
  computation<&RigidBodySystem::computeFwdKinematicsOnlyRoot, true, Stage::only_root>(fuzzer, object);
  // The centre of mass goes back to the inertias of the last computeFwdKinematicsExceptRoot, which may be gone.
  const auto* in_root = object.model.last(Stage::except_root);
  if (in_root != nullptr && in_root->inertia_changes != fuzzer.inertia_changes()) {
    object.model.expect(object.robot->getComPosition(), Result::com);
  }
}

void computeGeneralizedMass(Fuzzer& fuzzer, Object& object) {
  computation<&RigidBodySystem::computeGeneralizedMass, true, Stage::generalized_mass>(fuzzer, object);
  // A fresh object has the same table of inertias, so here is something that does not come from it.
  const float difference = object.robot->getGeneralizedMass()(0, 0) - fuzzer.sum_of_masses();
  require(std::abs(difference) <= 32 * Limits::epsilon() * fuzzer.sum_of_masses(),
          "the mass matrix has not the robot's mass");
}

void computePartialComJacobian(Fuzzer& fuzzer, Object& object) {
  const Eigen::Index size = fuzzer.layout().length(Result::mass_matrix);
  const std::array<Eigen::Index, 5> widths{0, 1, size - 1, size, size + 15};
  RigidBodySystem::ComJacobian J = RigidBodySystem::ComJacobian::Constant(3, widths[fuzzer.index(widths.size())], 7.0F);
  const RigidBodySystem::ComJacobian before = J;
  const float* storage = J.data();
  const bool known = !fuzzer.one_in(8);
  const unsigned long b = known ? fuzzer.any_body() : fuzzer.no_body();
  object.robot->computePartialComJacobian(b, J);
  require(J.data() == storage || (known && before.cols() != size), "the jacobian's storage has moved");
  if (!known) return require(J.cols() == before.cols() && J == before, "a jacobian without any body has been written");
  require(J.cols() == size, "the jacobian has not become 3 x {}", size);
  RigidBodySystem::ComJacobian expected;
  fuzzer.expect_repeated(object, {}, [&](RigidBodySystem& robot) {
    object.model.repeat_history(robot);
    robot.computePartialComJacobian(b, expected);
  });
  require(first_difference(J.data(), expected.data(), J.size()) == J.size(), "a fresh object has another jacobian");
}

void computePartialComPositionInRoot(Fuzzer& fuzzer, Object& object) {
  const unsigned long b = fuzzer.one_in(8) ? fuzzer.no_body() : fuzzer.any_body();
  const QZ::Math::Position3D com = object.robot->computePartialComPositionInRoot(b);
  if (b == 0 || b >= fuzzer.masses().size())
    return require(object.model.shows(com, Result::com),
                   "without no body or the root, the centre of mass is not that in the world");
  fuzzer.expect_repeated(object, {}, [&](RigidBodySystem& robot) {
    object.model.repeat_history(robot);
    const QZ::Math::Position3D again = robot.computePartialComPositionInRoot(b);
    require(shows(&com.x, again),
            "the robot without body {} has its centre of mass at ({:a}, {:a}, {:a}), on a fresh object at ({:a}, {:a}, "
            "{:a})",
            b, com.x, com.y, com.z, again.x, again.y, again.z);
  });
}

// ---- Questions, and what each must answer
// -----------------------------------------------------------------------------

bool is(float seen, float expected) { return shows(&seen, expected); }

void ask_names(Fuzzer& fuzzer, Object& object) {
  const RigidBodySystem& robot = *object.robot;
  const unsigned long j = fuzzer.any_joint();
  const unsigned long b = fuzzer.any_body();
  require(robot.getJointAngleId(robot.getJointAngleName(j)) == j, "a joint angle's name has another index");
  require(robot.getBodyId(robot.getBodyName(b)) == b, "a body's name has another index");
  require(robot.getBodyName(b) == fuzzer.pristine().robot->getBodyName(b), "a body has changed its name");
  require(robot.getName().empty(), "the object has a name");
}

void ask_one_by_one(Fuzzer& fuzzer, Object& object) {
  const RigidBodySystem& robot = *object.robot;
  const unsigned long j = fuzzer.any_joint();
  const unsigned long b = fuzzer.any_body();
  const auto agrees = [&](float value, Result view) { return object.model.shows(value, view, j); };
  require(agrees(robot.getJointAnglePos(j), Result::positions), "a joint angle differs from the view");
  require(agrees(robot.getJointAngleVel(j), Result::velocities), "a velocity differs from the view");
  require(agrees(robot.getJointAngleAcc(j), Result::accelerations), "an acceleration differs from the view");
  require(agrees(robot.getJointAngleTorque(j), Result::torques), "a torque differs from the view");
  require(&robot.getRootPose() == &robot.getPose(0), "the root's pose is not that of body 0");
  require(shows(&robot.getPose(~0UL).r00, Transform()), "the pose of the root's parent is not the identity");
  require(is(robot.getMass(), fuzzer.total_mass()), "the total mass has changed");
  require(is(robot.getMass(b), fuzzer.masses()[b]), "the mass of a body is not the one that was set");
  require(is(robot.getPartialMass(fuzzer.no_body()), fuzzer.total_mass()),
          "the mass without any body is not the total mass");
  require(std::abs(robot.getPartialMass(b) + fuzzer.masses()[b] - fuzzer.total_mass()) <=
              2 * Limits::epsilon() * fuzzer.total_mass(),
          "the mass without a body is not the total mass less that body's");
}

void ask_com_position(Fuzzer& fuzzer, Object& object) {
  const unsigned long b = fuzzer.any_body();
  const QZ::Math::Position3D com = object.robot->getComPosition(b);
  fuzzer.expect_repeated(object, {}, [&](RigidBodySystem& robot) {
    robot.setPose(b, object.robot->getPose(b));
    require(shows(&com.x, robot.getComPosition(b)), "a fresh object with this body's pose has another centre of mass");
  });
}

// ---- What objects share, and their lives ----------------------------------------------------------------------------

void setBodyInertia(Fuzzer& fuzzer, Object& object) {
  const unsigned long b = fuzzer.any_body();
  const float mass = 1.25F + fuzzer.random()(1);
  const QZ::Math::Position3D com(fuzzer.random()(0.1F), fuzzer.random()(0.1F), fuzzer.random()(0.1F));
  Eigen::Matrix3f inertia;
  fuzzer.random().fill(inertia, 0.01F);
  inertia.diagonal().array() += 0.05F;
  object.robot->setBodyInertia(b, mass, com, inertia);
  fuzzer.change_mass(*object.robot, b, mass);
}

void create(Fuzzer& fuzzer, Object& object) { fuzzer.create(object); }

void clone(Fuzzer& fuzzer, Object& object) {
  const Object& source = fuzzer.any_object();
  fuzzer.replace(object, {fuzzer.copy(*source.robot), source.model, true});
}

}  // namespace

const std::vector<RandomCall> random_calls{
    {"setRootPose", 6, setRootPose},
    {"setRootVelocity or setRootAcceleration", 6, set_root_rates},
    {"setJointAngles...", 10, setJointAngles},
    {"setJointAngle...", 10, set_joint_angle},
    {"setExternalWrench", 8, setExternalWrench<false>},
    {"setExternalWrench in a frame", 4, setExternalWrench<true>},
    {"setPose", 3, setPose},
    {"setVolatilePose", 2, setVolatilePose},
    {"computeFwdKinematicsExceptRoot", 4,
     computation<&RigidBodySystem::computeFwdKinematicsExceptRoot, false, Stage::except_root>},
    {"computeFwdKinematicsOnlyRoot", 4, computeFwdKinematicsOnlyRoot},
    {"computeFwdKinematics", 4,
     computation<&RigidBodySystem::computeFwdKinematics, false, Stage::except_root, Stage::only_root>},
    {"computeGeneralizedMass", 4, computeGeneralizedMass},
    {"computeInverseDynamics", 4,
     computation<&RigidBodySystem::computeInverseDynamics, false, Stage::inverse_dynamics>},
    {"computePartialComJacobian", 4, computePartialComJacobian},
    {"computePartialComPositionInRoot", 4, computePartialComPositionInRoot},
    {"questions about names", 3, ask_names},
    {"questions about single values", 10, ask_one_by_one},
    {"getComPosition", 3, ask_com_position},
    {"setBodyInertia", 3, setBodyInertia},
    {"destroy and create", 1, create},
    {"destroy and clone", 2, clone},
};

}  // namespace korvel::validate
