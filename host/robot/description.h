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

/// The text of every JSON file and output. Names that are not UTF-8 lose what cannot be shown.
template <typename Json>
std::string json_text(const Json& all) {
  return all.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace korvel::host
