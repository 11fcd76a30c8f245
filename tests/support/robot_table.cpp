#include "support/robot_table.h"

#include "metapod/models/korvel/robot.h"

namespace korvel::tests {

const metapod::models::BodyDescription& description(int b) { return metapod::models::KorvelRobot::bodies[b]; }

}  // namespace korvel::tests
