#include "bench/operations.h"

#include <algorithm>

#include "bench/robot.h"

namespace korvel::bench {

using Robot = tesk::RigidBodySystem;

void setRootAndWrenches(Robot& robot, const State& state) {
  robot.setRootPose(state.root.pose);
  robot.setRootVelocity(state.root.velocity);
  robot.setRootAcceleration(state.root.acceleration);
  for (std::size_t i = 0; i < feet.size(); ++i) robot.setExternalWrench(feet[i], state.wrenches[i]);
}

void computeKinematics(Robot& robot, const State& state) {
  robot.setJointAnglesPos(state.joint_pos);
  robot.computeFwdKinematics();
}

void computeMassFromAngles(Robot& robot, const State& state) {
  robot.setJointAnglesPos(state.joint_pos);
  robot.computeFwdKinematicsExceptRoot();
  robot.computeGeneralizedMass();
}

void computeDynamics(Robot& robot, const State& state) {
  robot.setJointAnglesPos(state.joint_pos);
  robot.setJointAnglesVel(state.joint_vel);
  robot.setJointAnglesAcc(state.joint_acc);
  robot.computeInverseDynamics();
}

namespace {

void computeKinematicsInRoot(Robot& robot, const State& state) {
  robot.setJointAnglesPos(state.joint_pos);
  robot.computeFwdKinematicsExceptRoot();
}

void computeMass(Robot& robot, const State&) { robot.computeGeneralizedMass(); }

void computeComJacobian(Robot& robot, const State& state) {
  thread_local Robot::ComJacobian J;
  robot.computePartialComJacobian(state.body, J);
}

void computeComPosition(Robot& robot, const State& state) { robot.computePartialComPositionInRoot(state.body); }

void computeCycle(Robot& robot, const State& state) {
  setRootAndWrenches(robot, state);
  computeKinematics(robot, state);
  robot.computeGeneralizedMass();
  computeComJacobian(robot, state);
  robot.setJointAnglesVel(state.joint_vel);
  robot.setJointAnglesAcc(state.joint_acc);
  robot.computeInverseDynamics();
}

template <void (*call)(Robot&, const State&)>
void pass(Robot& robot, const States& states) {
  for (const State& state : states) call(robot, state);
}

}  // namespace

const std::array<Operation, 8> operations{{
    {kinematics, "setJointAnglesPos, computeFwdKinematics", pass<computeKinematics>},
    {"kinematics-in-root", "setJointAnglesPos, computeFwdKinematicsExceptRoot", pass<computeKinematicsInRoot>},
    {"mass", "computeGeneralizedMass", pass<computeMass>},
    {mass_from_angles, "setJointAnglesPos, computeFwdKinematicsExceptRoot, computeGeneralizedMass",
     pass<computeMassFromAngles>},
    {dynamics, "setJointAngles{Pos,Vel,Acc}, computeInverseDynamics", pass<computeDynamics>},
    {"com-jacobian", "computePartialComJacobian", pass<computeComJacobian>},
    {"com-position", "computePartialComPositionInRoot", pass<computeComPosition>},
    {cycle,
     "setRoot*, setExternalWrench twice, setJointAngles*, computeFwdKinematics, computeGeneralizedMass, "
     "computePartialComJacobian, "
     "computeInverseDynamics",
     pass<computeCycle>},
}};

const Operation* findOperation(const std::string& name) {
  const auto found = std::find_if(operations.begin(), operations.end(), [&](const auto& o) { return o.name == name; });
  return found != operations.end() ? &*found : nullptr;
}

}  // namespace korvel::bench
