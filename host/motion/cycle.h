#pragma once

#include "host/motion/trajectory.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// One control cycle: gives the state to the robot and computes its kinematics and inverse dynamics. Allocates nothing.
/// `state` has one value per joint angle of the robot.
void run_cycle(tesk::RigidBodySystem& system, const Instant& state) noexcept;

}  // namespace korvel::host
