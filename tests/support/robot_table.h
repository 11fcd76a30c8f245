#pragma once

#include <vector>

#include "metapod/models/body_description.h"

namespace korvel::tests {

/// The rows of a robot's table.
using RobotTable = std::vector<metapod::models::BodyDescription>;

/// Of the robot that the module is built for.
const RobotTable& robot_table();

}  // namespace korvel::tests
