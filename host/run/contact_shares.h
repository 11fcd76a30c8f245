#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/run/ground.h"
#include "motion/trajectory.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// The shares of each sole in the load over a motion, by its contact: as `given` by the names of bodies, else as its
/// lowest corner is near the ground and slow. Leaves `system` in the last state of the motion.
std::vector<std::vector<double>> contact_shares(const Trajectory& trajectory, const Ground& ground,
                                                const std::map<std::string, std::vector<bool>>& given,
                                                tesk::RigidBodySystem& system);

}  // namespace korvel::host
