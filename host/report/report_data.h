#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>

#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// What the page shows of a results file: `file`, its name; `samples`, how many it has, and how many of them are
/// `shown`: one in `stride`, the last and those of the peaks; `start`, the time of the first [s]; `mass` of the robot
/// [kg]; `com`, the centre of mass in the world; `bodies` with their `name`, `parent` (-1 for the root), `mass`,
/// `rest`, the origin in the root at joint angles 0, and in the world the `origin` and `com`; `joints` with their
/// `name`, the `body` that they turn and their `torque`; `columns`, PackedColumns with the time since the start.
/// Torques and `com` are curves: the column of the `values`, and if some samples are left out also of the `low` and the
/// `high`, the lowest and highest values from each sample to before the next. Points of bodies are a `column` and the
/// `unit` of its integers [m]. What is over time in space is three of them, x, y and z [m].
/// Throws Error with the file, the line and what was expected there.
nlohmann::json report_data(const std::filesystem::path& results, const tesk::RigidBodySystem& system);

}  // namespace korvel::host
