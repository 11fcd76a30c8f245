#pragma once

#include <string>

#include "host/robot/robot.h"

namespace korvel::host {

/// A drawing of the bodies' frames and joint axes at joint angles of zero, from the front and from the side.
std::string to_svg(const Robot& robot);

}  // namespace korvel::host
