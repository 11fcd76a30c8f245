#include "metapod/models/korvel/korvel.h"

namespace metapod {

template class models::Model<models::KorvelRobot, models::OneBodyPerNode<models::KorvelRobot>>;
template class models::Model<models::KorvelRobot, models::LimbsInLanes<models::KorvelRobot>>;

}  // namespace metapod
