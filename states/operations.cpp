#include "states/operations.h"

namespace korvel {

namespace {

using Robot = tesk::RigidBodySystem;

template <typename Function>
void for_bodies(const Robot& robot, Function f) {
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) f(b);
}

template <auto operation>
void call(Robot& robot, Arguments&) {
  (robot.*operation)();
}

/// Of each body; some operations also take an index of no body.
constexpr unsigned long any_index = 1;
template <auto operation, unsigned long beyond = 0>
void call_for_bodies(Robot& robot, Arguments&) {
  for (unsigned long b = 0; b < robot.getNbBodies() + beyond; ++b) (robot.*operation)(b);
}

template <auto operation>
void call_for_joints(Robot& robot, Arguments&) {
  for (unsigned long j = 0; j < robot.getNbJointAngles(); ++j) (robot.*operation)(j);
}

template <auto operation, std::size_t derivative>
void set_joints(Robot& robot, Arguments& with) {
  const Eigen::ArrayXf& values = with.joints[derivative];
  for (unsigned long j = 0; j < robot.getNbJointAngles(); ++j) {
    (robot.*operation)(j, values(static_cast<Eigen::Index>(j)));
  }
}

}  // namespace

Arguments::Arguments(const State& state, const Robot& robot)
    : pose(state.root_pose()),
      velocity(state.root_velocity()),
      acceleration(state.root_acceleration()),
      joints{joints_of(state.q), joints_of(state.dq), joints_of(state.ddq)},
      jacobian(3, RobotSize(robot).coordinates()),
      joint_name(robot.getJointAngleName(robot.getNbJointAngles() - 1)),
      body_name(robot.getBodyName(robot.getNbBodies() - 1)) {
  for_bodies(robot, [&](unsigned long b) {
    wrenches.push_back(state.wrench(b));
    masses.push_back(robot.getMass(b));
  });
}

const std::vector<Operation>& real_time_operations() {
  static const std::vector<Operation> operations{
      {"setBodyInertia",
       [](Robot& r, Arguments& a) {
         for_bodies(r, [&](unsigned long b) { r.setBodyInertia(b, a.masses[b], a.com, a.inertia); });
       }},
      {"setRootPose", [](Robot& r, Arguments& a) { r.setRootPose(a.pose); }},
      {"setRootVelocity", [](Robot& r, Arguments& a) { r.setRootVelocity(a.velocity); }},
      {"setRootAcceleration", [](Robot& r, Arguments& a) { r.setRootAcceleration(a.acceleration); }},
      {"setJointAnglesPos", [](Robot& r, Arguments& a) { r.setJointAnglesPos(a.joints[0]); }},
      {"setJointAnglesVel", [](Robot& r, Arguments& a) { r.setJointAnglesVel(a.joints[1]); }},
      {"setJointAnglesAcc", [](Robot& r, Arguments& a) { r.setJointAnglesAcc(a.joints[2]); }},
      {"setJointAnglePos", set_joints<&Robot::setJointAnglePos, 0>},
      {"setJointAngleVel", set_joints<&Robot::setJointAngleVel, 1>},
      {"setJointAngleAcc", set_joints<&Robot::setJointAngleAcc, 2>},
      {"setExternalWrench (in a frame)",
       [](Robot& r, Arguments& a) {
         for_bodies(r, [&](unsigned long b) { r.setExternalWrench(b, a.wrenches[b], a.pose); });
       }},
      {"setExternalWrench",
       [](Robot& r, Arguments& a) { for_bodies(r, [&](unsigned long b) { r.setExternalWrench(b, a.wrenches[b]); }); }},
      {"setPose", [](Robot& r, Arguments& a) { for_bodies(r, [&](unsigned long b) { r.setPose(b, a.pose); }); }},
      {"setVolatilePose",
       [](Robot& r, Arguments& a) {
         for (unsigned long v = 0; v < r.getNbVolatileFrames(); ++v) r.setVolatilePose(v, a.pose);
       }},

      {"computeInverseDynamics", call<&Robot::computeInverseDynamics>},
      {"computeFwdKinematicsExceptRoot", call<&Robot::computeFwdKinematicsExceptRoot>},
      {"computeFwdKinematicsOnlyRoot", call<&Robot::computeFwdKinematicsOnlyRoot>},
      {"computeFwdKinematics", call<&Robot::computeFwdKinematics>},
      {"computeGeneralizedMass", call<&Robot::computeGeneralizedMass>},
      {"computePartialComPositionInRoot", call_for_bodies<&Robot::computePartialComPositionInRoot, any_index>},
      {"computePartialComJacobian",
       [](Robot& r, Arguments& a) {
         for_bodies(r, [&](unsigned long b) { r.computePartialComJacobian(b, a.jacobian); });
         r.computePartialComJacobian(r.getNbBodies(), a.jacobian);
       }},

      {"getNbJointAngles", call<&Robot::getNbJointAngles>},
      {"getNbBodies", call<&Robot::getNbBodies>},
      {"getNbVolatileFrames", call<&Robot::getNbVolatileFrames>},
      {"getRootName", call<&Robot::getRootName>},
      {"getJointAngleName", call_for_joints<&Robot::getJointAngleName>},
      {"getJointAngleId", [](Robot& r, Arguments& a) { r.getJointAngleId(a.joint_name); }},
      {"getBodyName", call_for_bodies<&Robot::getBodyName>},
      {"getBodyId", [](Robot& r, Arguments& a) { r.getBodyId(a.body_name); }},
      {"getMass", [](Robot& r, Arguments&) { r.getMass(); }},
      {"getMass (of a body)", [](Robot& r, Arguments&) { for_bodies(r, [&](unsigned long b) { r.getMass(b); }); }},
      {"getPartialMass", call_for_bodies<&Robot::getPartialMass, any_index>},
      {"getRootPose", call<&Robot::getRootPose>},
      {"getRootVelocity", call<&Robot::getRootVelocity>},
      {"getRootAcceleration", call<&Robot::getRootAcceleration>},
      {"getJointAnglePos", call_for_joints<&Robot::getJointAnglePos>},
      {"getJointAngleVel", call_for_joints<&Robot::getJointAngleVel>},
      {"getJointAngleAcc", call_for_joints<&Robot::getJointAngleAcc>},
      {"getJointAnglesPos", call<&Robot::getJointAnglesPos>},
      {"getJointAnglesVel", call<&Robot::getJointAnglesVel>},
      {"getJointAnglesAcc", call<&Robot::getJointAnglesAcc>},
      {"getPoseInRoot", call_for_bodies<&Robot::getPoseInRoot>},
      {"getPose",
       [](Robot& r, Arguments&) {
         for_bodies(r, [&](unsigned long b) { r.getPose(b); });
         r.getPose(~0UL);
       }},
      {"getVolatilePose",
       [](Robot& r, Arguments&) {
         for (unsigned long v = 0; v < r.getNbVolatileFrames(); ++v) r.getVolatilePose(v);
       }},
      {"getComPosition (of a body)",
       [](Robot& r, Arguments&) { for_bodies(r, [&](unsigned long b) { r.getComPosition(b); }); }},
      {"getComPositionInRoot", call<&Robot::getComPositionInRoot>},
      {"getComPosition", [](Robot& r, Arguments&) { r.getComPosition(); }},
      {"getGeneralizedMass", call<&Robot::getGeneralizedMass>},
      {"getJacobianInRoot", call<&Robot::getJacobianInRoot>},
      {"getJointAngleTorque", call_for_joints<&Robot::getJointAngleTorque>},
      {"getJointAnglesTorque", call<&Robot::getJointAnglesTorque>},
  };
  return operations;
}

const std::vector<AllocatingOperation>& allocating_operations() {
  static const std::string unknown(64, '?');
  static const std::vector<AllocatingOperation> operations{
      {"clone", [](Robot& r, Robot::ComJacobian&) { r.clone(); }},
      {"getName", [](Robot& r, Robot::ComJacobian&) { r.getName(); }},
      {"getParentsVector", [](Robot& r, Robot::ComJacobian&) { r.getParentsVector(); }},
      {"getDofNumbersVector", [](Robot& r, Robot::ComJacobian&) { r.getDofNumbersVector(); }},
      {"getDofIndexesVector", [](Robot& r, Robot::ComJacobian&) { r.getDofIndexesVector(); }},
      {"getJointAngleId", [](Robot& r, Robot::ComJacobian&) { r.getJointAngleId(unknown); }},
      {"getBodyId", [](Robot& r, Robot::ComJacobian&) { r.getBodyId(unknown); }},
      {"computePartialComJacobian",
       [](Robot& r, Robot::ComJacobian& J) { r.computePartialComJacobian(r.getNbBodies() - 1, J); }},
  };
  return operations;
}

std::vector<State> varied_states(std::uint64_t seed, std::size_t lively, const RobotSize& size) {
  Random random(seed);
  State pole = random_state(random.integer(), size);
  pole.q(4) = 1.5707964F;
  State hardly = random_state(random.integer(), size);
  for (Eigen::VectorXf* values : {&hardly.q, &hardly.dq, &hardly.ddq}) *values *= 1e-39F;
  hardly.wrenches *= 1e-39F;
  std::vector<State> states{State(size), pole, hardly};
  for (std::size_t i = 0; i < lively; ++i) states.push_back(random_state(random.integer(), size));
  return states;
}

std::vector<Arguments> varied_arguments(const Robot& robot, std::uint64_t seed, std::size_t lively) {
  std::vector<Arguments> arguments;
  for (const State& state : varied_states(seed, lively, robot)) arguments.emplace_back(state, robot);
  return arguments;
}

}  // namespace korvel
