#pragma once

#include <string>

#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// Header of the results file: `time`; `JOINT_torque` [N m] for each joint; the centre of mass in the world,
/// `com_x`, `com_y`, `com_z`, and in the root, `com_root_x` ...; the world position `BODY_x` ... of each body [m].
std::string resultsHeader(const tesk::RigidBodySystem& system);

/// The row of one sample, from the results that the last cycle left in `system`. Numbers have as many digits as give
/// the same value back.
std::string resultsRow(const tesk::RigidBodySystem& system, double time);

}  // namespace korvel::host
