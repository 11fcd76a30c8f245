#pragma once

#include "host/robot/robot.h"
#include "host/run/ground.h"
#include "motion/motion.h"

namespace korvel::host {

/// Replaces the root's motion by the one that keeps a supporting sole flat on the ground where it touched down. The
/// first support is the lower sole of an upright robot. The support changes to a sole that gets lower, or, if the
/// motion gives the contact of both, to one in contact when the support loses it. Over the time in which both touch the
/// ground, the root goes from the one placement over to the other. The first support keeps the
/// place and the heading that it has below an upright root at the world's origin. `ground` has at least one sole.
void place_root_from_feet(Motion& motion, const Ground& ground, const Robot& robot);

}  // namespace korvel::host
