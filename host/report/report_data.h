#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "host/results/results_table.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// What the page shows: `file`; `mass` of the robot [kg]; `time` [s]; `com`, the centre of mass in the world;
/// `bodies` with their `name`, `parent` (-1 for the root), `mass`, `rest`, the origin in the root at joint angles 0,
/// and in the world the `origin` and `com`; `joints` with their `name`, the `body` that they turn and their `torque`.
/// Points over time are three columns, x, y and z [m].
nlohmann::json report_data(const std::string& file, const tesk::RigidBodySystem& system, const ResultsTable& results);

}  // namespace korvel::host
