#pragma once

#include <string>
#include <vector>

#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// Columns of the results file: `time`; `JOINT_torque` [N m] for each joint; the centre of mass in the world, `com_x`,
/// `com_y`, `com_z`, and in the root, `com_root_x` ...; the world position of each body's origin, `BODY_x` ..., and of
/// each body's centre of mass, `BODY_com_x` ... [m].
std::vector<std::string> results_columns(const tesk::RigidBodySystem& system);

/// The header row, with these columns.
std::string results_header(const tesk::RigidBodySystem& system);

/// The row of one sample, from the results that the last cycle left in `system`. Numbers have as many digits as give
/// the same value back.
std::string results_row(const tesk::RigidBodySystem& system, double time);

}  // namespace korvel::host
