/// Calls of the interface with arguments that it allows, and what each must do.

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

/// Where a piece of a result stands among all that is shown.
float* place(ObjectModel& model, Result result, unsigned long piece = 0) {
  return model.shown.data() + model.layout[result].first +
         static_cast<std::ptrdiff_t>(piece) * model.layout.length(result);
}

/// From now on the object must show this.
template <typename Value>
void expect(ObjectModel& model, const Value& value, Result result, unsigned long piece = 0) {
  std::memcpy(place(model, result, piece), &value, sizeof(value));
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
bool shows(ObjectModel& model, const Value& value, Result result, unsigned long piece = 0) {
  return same_numbers(place(model, result, piece), value);
}

bool same(float a, float b) { return same_numbers(&a, b); }
bool same(const QZ::Math::Position3D& a, const QZ::Math::Position3D& b) { return same_numbers(&a.x, b); }
bool same(const Transform& a, const Transform& b) { return same_numbers(&a.r00, b); }

constexpr std::array joint_inputs{Result::positions, Result::velocities, Result::accelerations};

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
void Fuzzer::expect_repeated(Object& object, const std::vector<Stretch>& written, const Repeat& repeat) {
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
  const std::ptrdiff_t first = layout_[Result::poses].first;
  expect_repeated(object, {{first, first + 12}}, [&](RigidBodySystem& robot) { robot.setRootPose(pose); });
}

void Fuzzer::set_root_rates(Object& object) {
  const QZ::Math::Velocity6D rates(value(2), value(2), value(2), value(2), value(2), value(2));
  const bool velocity = one_in(2);
  velocity ? object.robot->setRootVelocity(rates) : object.robot->setRootAcceleration(rates);
  expect(object.model, rates, velocity ? Result::root_velocity : Result::root_acceleration);
}

void Fuzzer::setJointAngles(Object& object) {
  static constexpr std::array setters{&RigidBodySystem::setJointAnglesPos, &RigidBodySystem::setJointAnglesVel,
                                      &RigidBodySystem::setJointAnglesAcc};
  const auto derivative = index(3);
  const std::vector<float> all = values(3, masses_.size() - 1);
  (object.robot.get()->*setters[derivative])(
      Eigen::Map<const Eigen::ArrayXf>(all.data(), static_cast<Eigen::Index>(all.size())));
  std::copy_n(all.begin(), masses_.size() - 1, place(object.model, joint_inputs[derivative]));
}

void Fuzzer::set_joint_angle(Object& object) {
  static constexpr std::array setters{&RigidBodySystem::setJointAnglePos, &RigidBodySystem::setJointAngleVel,
                                      &RigidBodySystem::setJointAngleAcc};
  const auto derivative = index(3);
  const unsigned long j = any_joint();
  const float number = value(3);
  (object.robot.get()->*setters[derivative])(j, number);
  expect(object.model, number, joint_inputs[derivative], j);
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
  expect(object.model, pose, Result::poses, b);
}

void Fuzzer::setVolatilePose(Object& object) {
  const Transform pose = any_pose();
  object.robot->setVolatilePose(0, pose);
  expect(object.model, pose, Result::volatile_poses);
}

// ---- Computations ---------------------------------------------------------------------------------------------------

void Fuzzer::computeFwdKinematicsExceptRoot(Object& object) {
  object.robot->computeFwdKinematicsExceptRoot();
  object.model.remember(Stage::except_root, inertia_changes_);
  expect_repeated(object, layout_.written_by({Stage::except_root}), [&](RigidBodySystem& robot) {
    object.model.write_inputs(robot);
    robot.computeFwdKinematicsExceptRoot();
  });
}

void Fuzzer::computeFwdKinematicsOnlyRoot(Object& object) {
  object.robot->computeFwdKinematicsOnlyRoot();
  object.model.remember(Stage::only_root, inertia_changes_);
  expect_repeated(object, layout_.written_by({Stage::only_root}),
                  [&](RigidBodySystem& robot) { object.model.repeat_history(robot); });
  // The centre of mass goes back to the inertias of the last computeFwdKinematicsExceptRoot, which may be gone.
  const auto* in_root = object.model.last(Stage::except_root);
  if (in_root != nullptr && in_root->inertia_changes != inertia_changes_) {
    expect(object.model, object.robot->getComPosition(), Result::com);
  }
}

void Fuzzer::computeFwdKinematics(Object& object) {
  object.robot->computeFwdKinematics();
  object.model.remember(Stage::except_root, inertia_changes_);
  object.model.remember(Stage::only_root, inertia_changes_);
  expect_repeated(object, layout_.written_by({Stage::except_root, Stage::only_root}), [&](RigidBodySystem& robot) {
    object.model.write_inputs(robot);
    robot.computeFwdKinematicsExceptRoot();
    robot.computeFwdKinematicsOnlyRoot();
  });
}

void Fuzzer::computeGeneralizedMass(Object& object) {
  object.robot->computeGeneralizedMass();
  expect_repeated(object, layout_.written_by({Stage::generalized_mass}), [&](RigidBodySystem& robot) {
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
  expect_repeated(object, layout_.written_by({Stage::inverse_dynamics}), [&](RigidBodySystem& robot) {
    object.model.write_inputs(robot);
    robot.computeInverseDynamics();
  });
}

void Fuzzer::computePartialComJacobian(Object& object) {
  const Eigen::Index size = layout_.length(Result::mass_matrix);
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
    return require(shows(object.model, com, Result::com),
                   "without no body or the root, the centre of mass is not that in the world");
  expect_repeated(object, {}, [&](RigidBodySystem& robot) {
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
  const unsigned long j = any_joint();
  const unsigned long b = any_body();
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
  std::string name = robot.getBodyName(any_body());
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
  require(robot.getNbBodies() == first.getNbBodies() && robot.getNbJointAngles() == first.getNbJointAngles() &&
              robot.getNbVolatileFrames() == first.getNbVolatileFrames(),
          "the robot has changed its size");
  require(robot.getParentsVector() == first.getParentsVector(), "parents have changed");
  require(robot.getDofNumbersVector() == first.getDofNumbersVector(), "numbers of coordinates have changed");
  require(robot.getDofIndexesVector() == first.getDofIndexesVector(), "indexes of coordinates have changed");
}

void Fuzzer::ask_one_by_one(Object& object) {
  const RigidBodySystem& robot = *object.robot;
  const unsigned long j = any_joint();
  const unsigned long b = any_body();
  const auto agrees = [&](float value, Result view) { return shows(object.model, value, view, j); };
  require(agrees(robot.getJointAnglePos(j), Result::positions), "a joint angle differs from the view");
  require(agrees(robot.getJointAngleVel(j), Result::velocities), "a velocity differs from the view");
  require(agrees(robot.getJointAngleAcc(j), Result::accelerations), "an acceleration differs from the view");
  require(agrees(robot.getJointAngleTorque(j), Result::torques), "a torque differs from the view");
  require(&robot.getRootPose() == &robot.getPose(0), "the root's pose is not that of body 0");
  require(same(robot.getPose(~0UL), Transform()), "the pose of the root's parent is not the identity");
  require(same(robot.getMass(), total_mass_), "the total mass has changed");
  require(same(robot.getMass(b), masses_[b]), "the mass of a body is not the one that was set");
  require(same(robot.getPartialMass(no_body()), total_mass_), "the mass without any body is not the total mass");
  require(std::abs(robot.getPartialMass(b) + masses_[b] - total_mass_) <= 2 * Limits::epsilon() * total_mass_,
          "the mass without a body is not the total mass less that body's");
}

void Fuzzer::ask_com_position(Object& object) {
  const unsigned long b = any_body();
  const QZ::Math::Position3D com = object.robot->getComPosition(b);
  expect_repeated(object, {}, [&](RigidBodySystem& robot) {
    robot.setPose(b, object.robot->getPose(b));
    require(same(com, robot.getComPosition(b)), "a fresh object with this body's pose has another centre of mass");
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
