#pragma once

#include <string>

#include "host/robot/module.h"
#include "host/robot/robot.h"

namespace korvel::host {

/// The module, its robot and the conventions of the interface, for people.
std::string described_as_table(const Identity& module, const Robot& robot);

/// The same for programs, with centres of mass in the body's frame, and origins and joint axes in the root's at joint
/// angles of zero.
std::string described_as_json(const Identity& module, const Robot& robot);

/// The tree of bodies in the language of Graphviz.
std::string described_as_dot(const Robot& robot);

}  // namespace korvel::host
