#include "bench/module_peer.h"

namespace korvel::bench {

void ModulePeer::computeKinematics(std::size_t state) {
  robot_->setRootPose(states_[state].root.pose);
  robot_->setJointAnglesPos(states_[state].joint_pos);
  robot_->computeFwdKinematics();
}

void ModulePeer::computeMass(std::size_t state) {
  computeKinematics(state);
  robot_->computeGeneralizedMass();
}

void ModulePeer::computeDynamics(std::size_t state) {
  const State& s = states_[state];
  robot_->setRootPose(s.root.pose);
  robot_->setRootVelocity(s.root.velocity);
  robot_->setRootAcceleration(s.root.acceleration);
  robot_->setJointAnglesPos(s.joint_pos);
  robot_->setJointAnglesVel(s.joint_vel);
  robot_->setJointAnglesAcc(s.joint_acc);
  robot_->computeInverseDynamics();
}

std::vector<Peer::Pose> ModulePeer::poses() const {
  std::vector<Pose> poses;
  for (unsigned long b = 0; b < robot_->getNbBodies(); ++b) poses.push_back(toMatrix(robot_->getPose(b)));
  return poses;
}

Eigen::VectorXd ModulePeer::torques() const {
  const tesk::FloatRange torques = robot_->getJointAnglesTorque();
  return Eigen::Map<const Eigen::VectorXf>(torques.first, static_cast<Eigen::Index>(torques.size())).cast<double>();
}

}  // namespace korvel::bench
