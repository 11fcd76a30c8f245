#include "host/cycle.h"

namespace korvel::host {

void runCycle(tesk::RigidBodySystem& system, const State& state) noexcept {
  system.setRootPose(state.root.pose);
  system.setRootVelocity(state.root.velocity);
  system.setRootAcceleration(state.root.acceleration);
  system.setJointAnglesPos(state.joint_pos);
  system.setJointAnglesVel(state.joint_vel);
  system.setJointAnglesAcc(state.joint_acc);
  system.computeFwdKinematics();
  system.computeInverseDynamics();
}

}  // namespace korvel::host
