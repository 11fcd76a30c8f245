/// The operations of the interface with arguments that it allows, and what each must do.

#include <fmt/format.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "host/validate/core/require.h"
#include "host/validate/fuzz/fuzzer.h"

namespace korvel::validate {

namespace {

using QZ::Math::Transform;
using tesk::RigidBodySystem;
using Limits = std::numeric_limits<float>;

template <typename Value>
void put(ObjectModel& model, std::ptrdiff_t place, const Value& value) {
  std::memcpy(model.shown.data() + place, &value, sizeof(value));
}

template <typename Value>
bool same_numbers(const float* a, const Value& b) {
  constexpr std::size_t size = sizeof(Value);
  std::array<float, size / sizeof(float)> numbers;
  std::memcpy(numbers.data(), &b, sizeof(b));
  constexpr auto count = static_cast<std::ptrdiff_t>(numbers.size());
  return first_difference(a, numbers.data(), count) == count;
}

template <typename Value>
bool shows(const ObjectModel& model, std::ptrdiff_t place, const Value& value) {
  return same_numbers(model.shown.data() + place, value);
}

bool same(float a, float b) { return same_numbers(&a, b); }
bool same(const QZ::Math::Position3D& a, const QZ::Math::Position3D& b) { return same_numbers(&a.x, b); }
bool same(const Transform& a, const Transform& b) { return same_numbers(&a.r00, b); }

constexpr std::ptrdiff_t joint_inputs(int derivative) { return Shown::joints + 24 * derivative; }
std::ptrdiff_t pose_of(unsigned long b) { return Shown::poses + 12 * static_cast<std::ptrdiff_t>(b); }

/// Largest difference of two rotations' entries.
float distance(const Transform& a, const Transform& b) {
  const auto rotation = [](const Transform& T) {
    return Eigen::Map<const Eigen::Matrix<float, 3, 3, Eigen::RowMajor>, 0, Eigen::OuterStride<4>>(&T.r00);
  };
  return (rotation(a) - rotation(b)).cwiseAbs().maxCoeff();
}

}  // namespace

/// After a computation: what it wrote must be what `repeat` makes of a fresh object. Then that is what the object
/// shows.
template <typename Repeat>
void Fuzzer::computed(Object& object, const Stretches& written, const Repeat& repeat) {
  const host::System again = fresh();
  repeat(*again);
  read_everything(*again, expected_);
  ++repeated_;
  for (const Stretch& stretch : written) {
    std::copy(expected_.begin() + stretch.first, expected_.begin() + stretch.last,
              object.model.shown.begin() + stretch.first);
  }
}

// ---- Setters --------------------------------------------------------------------------------------------------------

void Fuzzer::setRootPose(Object& object) {
  const bool rigid = !one_in(8);
  const Transform pose = rigid ? rigid_pose() : any_pose();
  object.robot->setRootPose(pose);
  object.model.root_pose = pose;
  const Transform stored = object.robot->getRootPose();
  require(same(stored.tx, pose.tx) && same(stored.ty, pose.ty) && same(stored.tz, pose.tz),
          "the root's position is not the one that was set");
  // Three angles, each rounded once, and the products of their sines and cosines.
  require(!rigid || distance(stored, pose) <= 8 * Limits::epsilon(), "the root's rotation is not the one that was set");
  computed(object, {{Shown::poses, Shown::poses + 12}}, [&](RigidBodySystem& robot) { robot.setRootPose(pose); });
}

void Fuzzer::set_root_rates(Object& object) {
  const QZ::Math::Velocity6D rates(value(2), value(2), value(2), value(2), value(2), value(2));
  const bool velocity = one_in(2);
  velocity ? object.robot->setRootVelocity(rates) : object.robot->setRootAcceleration(rates);
  put(object.model, velocity ? Shown::inputs : Shown::inputs + 6, rates);
}

void Fuzzer::setJointAngles(Object& object) {
  static constexpr std::array setters{&RigidBodySystem::setJointAnglesPos, &RigidBodySystem::setJointAnglesVel,
                                      &RigidBodySystem::setJointAnglesAcc};
  const auto derivative = index(3);
  const std::vector<float> all = values(3, 24);
  (object.robot.get()->*setters[derivative])(
      Eigen::Map<const Eigen::ArrayXf>(all.data(), static_cast<Eigen::Index>(all.size())));
  std::copy_n(all.begin(), 24, object.model.shown.begin() + joint_inputs(static_cast<int>(derivative)));
}

void Fuzzer::set_joint_angle(Object& object) {
  static constexpr std::array setters{&RigidBodySystem::setJointAnglePos, &RigidBodySystem::setJointAngleVel,
                                      &RigidBodySystem::setJointAngleAcc};
  const auto derivative = index(3);
  const unsigned long j = index(24);
  const float number = value(3);
  (object.robot.get()->*setters[derivative])(j, number);
  put(object.model, joint_inputs(static_cast<int>(derivative)) + static_cast<std::ptrdiff_t>(j), number);
}

void Fuzzer::setExternalWrench(Object& object) {
  const unsigned long b = index(25);
  const std::vector<float> wrench = values(4, 6);
  object.robot->setExternalWrench(b, wrench);
  object.model.loads[b] = {{wrench.begin(), wrench.begin() + 6}, {}};
}

void Fuzzer::set_external_wrench_in_frame(Object& object) {
  const unsigned long b = index(25);
  const std::vector<float> wrench = values(4, 6);
  const Transform frame = one_in(4) ? any_pose() : rigid_pose();
  object.robot->setExternalWrench(b, wrench, frame);
  object.model.loads[b] = {{wrench.begin(), wrench.begin() + 6}, frame};
}

void Fuzzer::setPose(Object& object) {
  const unsigned long b = index(25);
  const Transform pose = any_pose();
  object.robot->setPose(b, pose);
  put(object.model, pose_of(b), pose);
}

void Fuzzer::setVolatilePose(Object& object) {
  const Transform pose = any_pose();
  object.robot->setVolatilePose(0, pose);
  put(object.model, Shown::volatile_pose, pose);
}

// ---- Computations ---------------------------------------------------------------------------------------------------

void Fuzzer::computeFwdKinematicsExceptRoot(Object& object) {
  object.robot->computeFwdKinematicsExceptRoot();
  object.model.remember(Step::except_root, inertia_changes_);
  computed(object, Writes::except_root, [&](RigidBodySystem& robot) {
    object.model.write_inputs(robot);
    robot.computeFwdKinematicsExceptRoot();
  });
}

void Fuzzer::computeFwdKinematicsOnlyRoot(Object& object) {
  object.robot->computeFwdKinematicsOnlyRoot();
  object.model.remember(Step::only_root, inertia_changes_);
  computed(object, Writes::only_root, [&](RigidBodySystem& robot) { object.model.repeat_history(robot); });
  // The centre of mass goes back to the inertias of the last computeFwdKinematicsExceptRoot, which may be gone.
  const auto* in_root = object.model.last(Step::except_root);
  if (in_root != nullptr && in_root->inertia_changes != inertia_changes_) {
    put(object.model, Shown::com, object.robot->getComPosition());
  }
}

void Fuzzer::computeFwdKinematics(Object& object) {
  object.robot->computeFwdKinematics();
  object.model.remember(Step::except_root, inertia_changes_);
  object.model.remember(Step::only_root, inertia_changes_);
  computed(object, Writes::kinematics, [&](RigidBodySystem& robot) {
    object.model.write_inputs(robot);
    robot.computeFwdKinematicsExceptRoot();
    robot.computeFwdKinematicsOnlyRoot();
  });
}

void Fuzzer::computeGeneralizedMass(Object& object) {
  object.robot->computeGeneralizedMass();
  computed(object, Writes::generalized_mass, [&](RigidBodySystem& robot) {
    object.model.repeat_history(robot);
    robot.computeGeneralizedMass();
  });
  // A fresh object has the same table of inertias, so here is something that does not come from it.
  const float difference = object.robot->getGeneralizedMass()(0, 0) - sum_of_masses();
  require(std::abs(difference) <= 32 * Limits::epsilon() * sum_of_masses(), "the mass matrix has not the robot's mass");
}

void Fuzzer::computeInverseDynamics(Object& object) {
  object.robot->computeInverseDynamics();
  object.model.remember(Step::inverse_dynamics, inertia_changes_);
  computed(object, Writes::inverse_dynamics, [&](RigidBodySystem& robot) {
    object.model.write_inputs(robot);
    robot.computeInverseDynamics();
  });
}

void Fuzzer::computePartialComJacobian(Object& object) {
  static constexpr std::array<Eigen::Index, 5> widths{0, 1, 29, 30, 45};
  RigidBodySystem::ComJacobian J = RigidBodySystem::ComJacobian::Constant(3, widths[index(widths.size())], 7.0F);
  const RigidBodySystem::ComJacobian before = J;
  const float* storage = J.data();
  const bool known = !one_in(8);
  const unsigned long b = known ? index(25) : no_body();
  object.robot->computePartialComJacobian(b, J);
  require(J.data() == storage || (known && before.cols() != 30), "the jacobian's storage has moved");
  if (!known) return require(J.cols() == before.cols() && J == before, "a jacobian without any body has been written");
  require(J.cols() == 30, "the jacobian has not become 3 x 30");
  RigidBodySystem::ComJacobian expected;
  computed(object, {}, [&](RigidBodySystem& robot) {
    object.model.repeat_history(robot);
    robot.computePartialComJacobian(b, expected);
  });
  require(first_difference(J.data(), expected.data(), 90) == 90, "a fresh object has another jacobian");
}

void Fuzzer::computePartialComPositionInRoot(Object& object) {
  const unsigned long b = one_in(8) ? no_body() : index(25);
  const QZ::Math::Position3D com = object.robot->computePartialComPositionInRoot(b);
  if (b == 0 || b >= 25)
    return require(shows(object.model, Shown::com, com),
                   "without no body or the root, the centre of mass is not that in the world");
  computed(object, {}, [&](RigidBodySystem& robot) {
    object.model.repeat_history(robot);
    const QZ::Math::Position3D again = robot.computePartialComPositionInRoot(b);
    require(same(com, again),
            "the robot without body {} has its centre of mass at ({:a}, {:a}, {:a}), on a fresh object at ({:a}, {:a}, "
            "{:a})",
            b, com.x, com.y, com.z, again.x, again.y, again.z);
  });
}

// ---- Questions ------------------------------------------------------------------------------------------------------

void Fuzzer::ask_names(Object& object) {
  const RigidBodySystem& robot = *object.robot;
  const unsigned long j = index(24);
  const unsigned long b = index(25);
  require(robot.getJointAngleId(robot.getJointAngleName(j)) == j, "a joint angle's name has another index");
  require(robot.getBodyId(robot.getBodyName(b)) == b, "a body's name has another index");
  require(robot.getBodyName(b) == pristine_.robot->getBodyName(b), "a body has changed its name");
  require(robot.getName().empty(), "the object has a name");
}

void Fuzzer::ask_unknown_names(Object& object) {
  const RigidBodySystem& robot = *object.robot;
  const auto expect_error = [](const std::string& kind, const std::string& name, const auto& ask) {
    try {
      ask();
    } catch (const std::out_of_range& error) {
      return require(error.what() == fmt::format("no {} named \"{}\"", kind, name), "the error has another text");
    }
    throw Finding(fmt::format("there is a {} named \"{}\"", kind, name));
  };
  std::string name = robot.getBodyName(index(25));
  name.resize(index(2 * name.size()), 'x');
  name += '?';
  expect_error("body", name, [&] { static_cast<void>(robot.getBodyId(name)); });
  expect_error("joint angle", name, [&] { static_cast<void>(robot.getJointAngleId(name)); });
  const std::string& root = robot.getRootName();
  expect_error("joint angle", root, [&] { static_cast<void>(robot.getJointAngleId(root)); });
}

// NOLINTNEXTLINE(readability-make-member-function-const): one of a table of operations
void Fuzzer::ask_topology(Object& object) {
  const auto& [robot, first] = std::pair<RigidBodySystem&, RigidBodySystem&>(*object.robot, *pristine_.robot);
  require(robot.getNbBodies() == 25 && robot.getNbJointAngles() == 24 && robot.getNbVolatileFrames() == 1,
          "the robot has changed its size");
  require(robot.getParentsVector() == first.getParentsVector(), "parents have changed");
  require(robot.getDofNumbersVector() == first.getDofNumbersVector(), "numbers of coordinates have changed");
  require(robot.getDofIndexesVector() == first.getDofIndexesVector(), "indexes of coordinates have changed");
}

void Fuzzer::ask_one_by_one(Object& object) {
  const RigidBodySystem& robot = *object.robot;
  const unsigned long j = index(24);
  const unsigned long b = index(25);
  const auto place = static_cast<std::ptrdiff_t>(j);
  require(shows(object.model, joint_inputs(0) + place, robot.getJointAnglePos(j)),
          "a joint angle differs from the view");
  require(shows(object.model, joint_inputs(1) + place, robot.getJointAngleVel(j)), "a velocity differs from the view");
  require(shows(object.model, joint_inputs(2) + place, robot.getJointAngleAcc(j)),
          "an acceleration differs from the view");
  require(shows(object.model, Shown::torques + place, robot.getJointAngleTorque(j)), "a torque differs from the view");
  require(&robot.getRootPose() == &robot.getPose(0), "the root's pose is not that of body 0");
  require(same(robot.getPose(~0UL), Transform()), "the pose of the root's parent is not the identity");
  require(same(robot.getMass(), total_mass_), "the total mass has changed");
  require(same(robot.getMass(b), masses_[b]), "the mass of a body is not the one that was set");
  require(same(robot.getPartialMass(no_body()), total_mass_), "the mass without any body is not the total mass");
  require(std::abs(robot.getPartialMass(b) + masses_[b] - total_mass_) <= 2 * Limits::epsilon() * total_mass_,
          "the mass without a body is not the total mass less that body's");
}

void Fuzzer::ask_com_position(Object& object) {
  const unsigned long b = index(25);
  const QZ::Math::Position3D com = object.robot->getComPosition(b);
  computed(object, {}, [&](RigidBodySystem& robot) {
    robot.setPose(b, object.robot->getPose(b));
    require(same(com, robot.getComPosition(b)), "a fresh object with this body's pose has another centre of mass");
  });
}

// ---- What objects share, and their lives ----------------------------------------------------------------------------

void Fuzzer::setBodyInertia(Object& object) {
  const unsigned long b = index(25);
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
  mass_roundings_ = 25;
  largest_total_mass_ = 0;
  ++inertia_changes_;
  expect_total_mass(*object.robot);
}

void Fuzzer::clone(Object& object) {
  const Object& source = objects_[index(objects_.size())];
  replace(object, {copy(*source.robot), source.model, true});
}

}  // namespace korvel::validate
