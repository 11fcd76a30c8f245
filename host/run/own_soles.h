#pragma once

#include <vector>

#include "contact/sole.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// The soles of the robot that korvel is built for; none if `system` is another robot, which has other bodies.
std::vector<contact::Sole> own_soles(const tesk::RigidBodySystem& system);

}  // namespace korvel::host
