#pragma once

#include <string>

#include "host/robot.h"

namespace korvel::host {

/// The robot and the conventions of the interface, for people.
std::string describedAsTable(const Robot& robot);

/// The same for programs, with centres of mass in the body's frame, and origins and joint axes in the root's at joint
/// angles of zero.
std::string describedAsJson(const Robot& robot);

/// The tree of bodies in the language of Graphviz.
std::string describedAsDot(const Robot& robot);

}  // namespace korvel::host
