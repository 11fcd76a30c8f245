#pragma once

#include "host/motion/trajectory.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// Gives the state to the robot. `state` has one value per joint angle of the robot. Allocates nothing.
void set_state(tesk::RigidBodySystem& system, const Instant& state) noexcept;

/// One control cycle: gives the state to the robot and computes its kinematics and inverse dynamics. Allocates
/// nothing.
void run_cycle(tesk::RigidBodySystem& system, const Instant& state) noexcept;

}  // namespace korvel::host
