#include "host/motion/cycle.h"

namespace korvel::host {

void set_state(tesk::RigidBodySystem& system, const Instant& state) noexcept {
  system.setRootPose(state.root.pose);
  system.setRootVelocity(state.root.velocity);
  system.setRootAcceleration(state.root.acceleration);
  system.setJointAnglesPos(state.joint_pos);
  system.setJointAnglesVel(state.joint_vel);
  system.setJointAnglesAcc(state.joint_acc);
}

void run_cycle(tesk::RigidBodySystem& system, const Instant& state) noexcept {
  set_state(system, state);
  system.computeFwdKinematics();
  system.computeInverseDynamics();
}

}  // namespace korvel::host
