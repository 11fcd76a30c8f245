#pragma once

#include "metapod/models/gravity.h"
#include "metapod/models/korvel/robot.h"
#include "metapod/models/model.h"

namespace metapod {

/// The model of the humanoid: 25 bodies, 30 coordinates, one node for each body.
using korvel = models::Model<models::KorvelRobot, models::OneBodyPerNode<models::KorvelRobot>>;

/// The same robot with its arms and legs side by side: 9 nodes. The same bits, signs of zeros apart, in
/// less than half the time.
using korvel_in_lanes = models::Model<models::KorvelRobot, models::LimbsInLanes<models::KorvelRobot>>;
static_assert(korvel_in_lanes::node_count == 9, "torso, two for the head, six levels of limbs");

extern template class models::Model<models::KorvelRobot, models::OneBodyPerNode<models::KorvelRobot>>;
extern template class models::Model<models::KorvelRobot, models::LimbsInLanes<models::KorvelRobot>>;

}  // namespace metapod
