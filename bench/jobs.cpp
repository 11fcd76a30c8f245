#include "bench/jobs.h"

#include <algorithm>

#include "contract/states.h"

namespace korvel::bench {

LoadedInstants seeded_instants(std::size_t count) {
  Random random(1);
  State numbers(RobotSize(int{joint_count} + 1));
  LoadedInstants states(count);
  for (std::size_t k = 0; k < count; ++k) {
    for (Eigen::VectorXf* values : {&numbers.q, &numbers.dq, &numbers.ddq}) random.fill(*values, 1);
    random.fill(numbers.wrenches.topRows(3), 20);
    random.fill(numbers.wrenches.bottomRows(3), 1);
    LoadedInstant& state = states[k];
    state.joint_pos = joints_of(numbers.q).array();
    state.joint_vel = joints_of(numbers.dq).array();
    state.joint_acc = joints_of(numbers.ddq).array();
    state.root = {numbers.root_pose(), numbers.root_velocity(), numbers.root_acceleration()};
    state.wrenches = {numbers.wrench(feet[0]), numbers.wrench(feet[1])};
    state.body = 1 + k % joint_count;
  }
  return states;
}

using Robot = tesk::RigidBodySystem;

void set_root_and_wrenches(Robot& robot, const LoadedInstant& state) {
  robot.setRootPose(state.root.pose);
  robot.setRootVelocity(state.root.velocity);
  robot.setRootAcceleration(state.root.acceleration);
  for (std::size_t i = 0; i < feet.size(); ++i) robot.setExternalWrench(feet[i], state.wrenches[i]);
}

void compute_kinematics(Robot& robot, const LoadedInstant& state) {
  robot.setJointAnglesPos(state.joint_pos);
  robot.computeFwdKinematics();
}

void prepare(Robot& robot, const LoadedInstant& state) {
  set_root_and_wrenches(robot, state);
  compute_kinematics(robot, state);
}

void compute_mass_from_angles(Robot& robot, const LoadedInstant& state) {
  robot.setJointAnglesPos(state.joint_pos);
  robot.computeFwdKinematicsExceptRoot();
  robot.computeGeneralizedMass();
}

void compute_dynamics(Robot& robot, const LoadedInstant& state) {
  robot.setJointAnglesPos(state.joint_pos);
  robot.setJointAnglesVel(state.joint_vel);
  robot.setJointAnglesAcc(state.joint_acc);
  robot.computeInverseDynamics();
}

namespace {

void compute_kinematics_in_root(Robot& robot, const LoadedInstant& state) {
  robot.setJointAnglesPos(state.joint_pos);
  robot.computeFwdKinematicsExceptRoot();
}

void compute_mass(Robot& robot, const LoadedInstant&) { robot.computeGeneralizedMass(); }

void compute_com_jacobian(Robot& robot, const LoadedInstant& state) {
  thread_local Robot::ComJacobian J;
  robot.computePartialComJacobian(state.body, J);
}

void compute_com_position(Robot& robot, const LoadedInstant& state) {
  robot.computePartialComPositionInRoot(state.body);
}

void compute_cycle(Robot& robot, const LoadedInstant& state) {
  prepare(robot, state);
  robot.computeGeneralizedMass();
  compute_com_jacobian(robot, state);
  robot.setJointAnglesVel(state.joint_vel);
  robot.setJointAnglesAcc(state.joint_acc);
  robot.computeInverseDynamics();
}

template <void (*call)(Robot&, const LoadedInstant&)>
void pass(Robot& robot, const LoadedInstants& states) {
  for (const LoadedInstant& state : states) call(robot, state);
}

}  // namespace

const std::array<Job, 8> jobs{{
    {kinematics, "setJointAnglesPos, computeFwdKinematics", pass<compute_kinematics>},
    {"kinematics-in-root", "setJointAnglesPos, computeFwdKinematicsExceptRoot", pass<compute_kinematics_in_root>},
    {"mass", "computeGeneralizedMass", pass<compute_mass>},
    {mass_from_angles, "setJointAnglesPos, computeFwdKinematicsExceptRoot, computeGeneralizedMass",
     pass<compute_mass_from_angles>},
    {dynamics, "setJointAngles{Pos,Vel,Acc}, computeInverseDynamics", pass<compute_dynamics>},
    {"com-jacobian", "computePartialComJacobian", pass<compute_com_jacobian>},
    {"com-position", "computePartialComPositionInRoot", pass<compute_com_position>},
    {cycle,
     "setRoot*, setExternalWrench twice, setJointAngles*, computeFwdKinematics, computeGeneralizedMass, "
     "computePartialComJacobian, "
     "computeInverseDynamics",
     pass<compute_cycle>},
}};

const Job* find_job(const std::string& name) {
  const auto found = std::find_if(jobs.begin(), jobs.end(), [&](const auto& o) { return o.name == name; });
  return found != jobs.end() ? &*found : nullptr;
}

}  // namespace korvel::bench
