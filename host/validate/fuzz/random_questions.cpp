/// Questions to the interface, and what each must answer.

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

bool is(float seen, float expected) { return shows(&seen, expected); }

}  // namespace

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
  const auto agrees = [&](float value, Result view) { return object.model.shows(value, view, j); };
  require(agrees(robot.getJointAnglePos(j), Result::positions), "a joint angle differs from the view");
  require(agrees(robot.getJointAngleVel(j), Result::velocities), "a velocity differs from the view");
  require(agrees(robot.getJointAngleAcc(j), Result::accelerations), "an acceleration differs from the view");
  require(agrees(robot.getJointAngleTorque(j), Result::torques), "a torque differs from the view");
  require(&robot.getRootPose() == &robot.getPose(0), "the root's pose is not that of body 0");
  require(shows(&robot.getPose(~0UL).r00, Transform()), "the pose of the root's parent is not the identity");
  require(is(robot.getMass(), total_mass_), "the total mass has changed");
  require(is(robot.getMass(b), masses_[b]), "the mass of a body is not the one that was set");
  require(is(robot.getPartialMass(no_body()), total_mass_), "the mass without any body is not the total mass");
  require(std::abs(robot.getPartialMass(b) + masses_[b] - total_mass_) <= 2 * Limits::epsilon() * total_mass_,
          "the mass without a body is not the total mass less that body's");
}

void Fuzzer::ask_com_position(Object& object) {
  const unsigned long b = any_body();
  const QZ::Math::Position3D com = object.robot->getComPosition(b);
  expect_repeated(object, {}, [&](RigidBodySystem& robot) {
    robot.setPose(b, object.robot->getPose(b));
    require(shows(&com.x, robot.getComPosition(b)), "a fresh object with this body's pose has another centre of mass");
  });
}

}  // namespace korvel::validate
