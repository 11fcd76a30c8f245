#include "host/validate/observe/operations.h"

namespace korvel::validate {

namespace {

using Robot = tesk::RigidBodySystem;

template <typename Function>
void for_bodies(const Robot& robot, Function f) {
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) f(b);
}

template <typename Function>
void for_joints(const Robot& robot, Function f) {
  for (unsigned long j = 0; j < robot.getNbJointAngles(); ++j) f(j);
}

}  // namespace

Arguments::Arguments(const State& state, const Robot& robot)
    : pose(state.root_pose()),
      velocity(state.root_velocity()),
      acceleration(state.root_acceleration()),
      joints{state.q.tail(24).array(), state.dq.tail(24).array(), state.ddq.tail(24).array()},
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
      {"setJointAnglePos",
       [](Robot& r, Arguments& a) {
         for_joints(r, [&](unsigned long j) { r.setJointAnglePos(j, a.joints[0](static_cast<Eigen::Index>(j))); });
       }},
      {"setJointAngleVel",
       [](Robot& r, Arguments& a) {
         for_joints(r, [&](unsigned long j) { r.setJointAngleVel(j, a.joints[1](static_cast<Eigen::Index>(j))); });
       }},
      {"setJointAngleAcc",
       [](Robot& r, Arguments& a) {
         for_joints(r, [&](unsigned long j) { r.setJointAngleAcc(j, a.joints[2](static_cast<Eigen::Index>(j))); });
       }},
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

      {"computeInverseDynamics", [](Robot& r, Arguments&) { r.computeInverseDynamics(); }},
      {"computeFwdKinematicsExceptRoot", [](Robot& r, Arguments&) { r.computeFwdKinematicsExceptRoot(); }},
      {"computeFwdKinematicsOnlyRoot", [](Robot& r, Arguments&) { r.computeFwdKinematicsOnlyRoot(); }},
      {"computeFwdKinematics", [](Robot& r, Arguments&) { r.computeFwdKinematics(); }},
      {"computeGeneralizedMass", [](Robot& r, Arguments&) { r.computeGeneralizedMass(); }},
      {"computePartialComPositionInRoot",
       [](Robot& r, Arguments&) {
         for_bodies(r, [&](unsigned long b) { r.computePartialComPositionInRoot(b); });
         r.computePartialComPositionInRoot(r.getNbBodies());
       }},
      {"computePartialComJacobian",
       [](Robot& r, Arguments& a) {
         for_bodies(r, [&](unsigned long b) { r.computePartialComJacobian(b, a.jacobian); });
         r.computePartialComJacobian(r.getNbBodies(), a.jacobian);
       }},

      {"getNbJointAngles", [](Robot& r, Arguments&) { r.getNbJointAngles(); }},
      {"getNbBodies", [](Robot& r, Arguments&) { r.getNbBodies(); }},
      {"getNbVolatileFrames", [](Robot& r, Arguments&) { r.getNbVolatileFrames(); }},
      {"getRootName", [](Robot& r, Arguments&) { r.getRootName(); }},
      {"getJointAngleName",
       [](Robot& r, Arguments&) { for_joints(r, [&](unsigned long j) { r.getJointAngleName(j); }); }},
      {"getJointAngleId", [](Robot& r, Arguments& a) { r.getJointAngleId(a.joint_name); }},
      {"getBodyName", [](Robot& r, Arguments&) { for_bodies(r, [&](unsigned long b) { r.getBodyName(b); }); }},
      {"getBodyId", [](Robot& r, Arguments& a) { r.getBodyId(a.body_name); }},
      {"getMass", [](Robot& r, Arguments&) { r.getMass(); }},
      {"getMass (of a body)", [](Robot& r, Arguments&) { for_bodies(r, [&](unsigned long b) { r.getMass(b); }); }},
      {"getPartialMass",
       [](Robot& r, Arguments&) {
         for_bodies(r, [&](unsigned long b) { r.getPartialMass(b); });
         r.getPartialMass(r.getNbBodies());
       }},
      {"getRootPose", [](Robot& r, Arguments&) { r.getRootPose(); }},
      {"getRootVelocity", [](Robot& r, Arguments&) { r.getRootVelocity(); }},
      {"getRootAcceleration", [](Robot& r, Arguments&) { r.getRootAcceleration(); }},
      {"getJointAnglePos",
       [](Robot& r, Arguments&) { for_joints(r, [&](unsigned long j) { r.getJointAnglePos(j); }); }},
      {"getJointAngleVel",
       [](Robot& r, Arguments&) { for_joints(r, [&](unsigned long j) { r.getJointAngleVel(j); }); }},
      {"getJointAngleAcc",
       [](Robot& r, Arguments&) { for_joints(r, [&](unsigned long j) { r.getJointAngleAcc(j); }); }},
      {"getJointAnglesPos", [](Robot& r, Arguments&) { r.getJointAnglesPos(); }},
      {"getJointAnglesVel", [](Robot& r, Arguments&) { r.getJointAnglesVel(); }},
      {"getJointAnglesAcc", [](Robot& r, Arguments&) { r.getJointAnglesAcc(); }},
      {"getPoseInRoot", [](Robot& r, Arguments&) { for_bodies(r, [&](unsigned long b) { r.getPoseInRoot(b); }); }},
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
      {"getComPositionInRoot", [](Robot& r, Arguments&) { r.getComPositionInRoot(); }},
      {"getComPosition", [](Robot& r, Arguments&) { r.getComPosition(); }},
      {"getGeneralizedMass", [](Robot& r, Arguments&) { r.getGeneralizedMass(); }},
      {"getJacobianInRoot", [](Robot& r, Arguments&) { r.getJacobianInRoot(); }},
      {"getJointAngleTorque",
       [](Robot& r, Arguments&) { for_joints(r, [&](unsigned long j) { r.getJointAngleTorque(j); }); }},
      {"getJointAnglesTorque", [](Robot& r, Arguments&) { r.getJointAnglesTorque(); }},
  };
  return operations;
}

std::vector<State> varied_states(std::uint64_t seed, std::size_t lively) {
  Random random(seed);
  State pole = random_state(random.integer());
  pole.q(4) = 1.5707964F;
  State hardly = random_state(random.integer());
  for (Eigen::VectorXf* values : {&hardly.q, &hardly.dq, &hardly.ddq}) *values *= 1e-39F;
  hardly.wrenches *= 1e-39F;
  std::vector<State> states{State(), pole, hardly};
  for (std::size_t i = 0; i < lively; ++i) states.push_back(random_state(random.integer()));
  return states;
}

std::vector<Arguments> varied_arguments(const Robot& robot, std::uint64_t seed, std::size_t lively) {
  std::vector<Arguments> arguments;
  for (const State& state : varied_states(seed, lively)) arguments.emplace_back(state, robot);
  return arguments;
}

}  // namespace korvel::validate
