#pragma once

#include "motion/trajectory.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// Gives the state to the robot. `state` has one value per joint angle of the robot. Allocates nothing.
inline void set_state(tesk::RigidBodySystem& system, const Instant& state) noexcept {
  system.setRootPose(state.root.pose);
  system.setRootVelocity(state.root.velocity);
  system.setRootAcceleration(state.root.acceleration);
  system.setJointAnglesPos(state.joint_pos);
  system.setJointAnglesVel(state.joint_vel);
  system.setJointAnglesAcc(state.joint_acc);
}

/// One control cycle: gives the state to the robot and computes its kinematics and inverse dynamics. Allocates
/// nothing.
inline void run_cycle(tesk::RigidBodySystem& system, const Instant& state) noexcept {
  set_state(system, state);
  system.computeFwdKinematics();
  system.computeInverseDynamics();
}

}  // namespace korvel::host
