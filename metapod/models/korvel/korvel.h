#pragma once

#include "metapod/models/gravity.h"
#include "metapod/models/korvel/robot.h"
#include "metapod/models/model.h"

namespace metapod {

extern template class models::Model<models::KorvelRobot>;

/// The model of the humanoid: 25 bodies, 30 coordinates.
using korvel = models::Model<models::KorvelRobot>;

}  // namespace metapod
