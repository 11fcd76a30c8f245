#include "metapod/models/korvel/korvel.h"

namespace metapod {

template class models::Model<models::KorvelRobot>;

}  // namespace metapod
