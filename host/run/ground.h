#pragma once

#include <vector>

#include "contact/phases.h"
#include "contact/sole.h"
#include "contact/wrench.h"
#include "host/robot/robot.h"
#include "motion/motion.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// The ground, and the soles with which the robot stands on it.
struct Ground {
  std::vector<contact::Sole> soles;
  double height = 0;  ///< of the level ground in the world [m]
  contact::ContactBounds bounds;
};

/// The soles of the robot that korvel is built for; none if `system` is another robot, which has other bodies.
std::vector<contact::Sole> own_soles(const tesk::RigidBodySystem& system);

/// [N].
inline double weight_of(const tesk::RigidBodySystem& system) {
  return contact::gravity * static_cast<double>(system.getMass());
}

/// Replaces the root's motion by the one that keeps a supporting sole flat on the ground where it touched down. The
/// first support is the lower sole of an upright robot. The support changes to a sole that gets lower, or, if the
/// motion gives the contact of both, to one in contact when the support loses it. Over the time in which both touch the
/// ground, the root goes from the one placement over to the other. The first support keeps the
/// place and the heading that it has below an upright root at the world's origin. `ground` has at least one sole.
void place_root_from_feet(Motion& motion, const Ground& ground, const Robot& robot);

}  // namespace korvel::host
