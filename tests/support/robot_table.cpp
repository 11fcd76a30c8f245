#include "support/robot_table.h"

#include "metapod/models/korvel/robot.h"

namespace korvel::tests {

const RobotTable& robot_table() {
  using metapod::models::KorvelRobot;
  static const RobotTable table(std::begin(KorvelRobot::bodies), std::end(KorvelRobot::bodies));
  return table;
}

}  // namespace korvel::tests
