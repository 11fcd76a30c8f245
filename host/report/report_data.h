#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "contact/phases.h"
#include "contact/sole.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// What is known of the ground besides the results.
struct ReportGround {
  std::vector<contact::Sole> soles;
  std::optional<double> height;                    ///< in the world [m]
  double level = contact::ContactBounds{}.height;  ///< above its lowest corner up to which a sole's corners bear [m]
};

/// How much of a file the page has: all of it, or only what is drawn as curves over time.
enum class Detail { all, curves };

/// What the page shows of a results file: `file`, its name; `samples`, how many it has, and how many of them are
/// `shown`: one in `stride`, the last and those of the peaks; `start`, the time of the first [s]; `mass` [kg] and
/// `weight` [N] of the robot; `com`, the centre of mass in the world; `bodies` with their `name`, `parent` (-1 for the
/// root), `mass`, `rest`, the origin in the root at joint angles 0, and in the world the `origin` and `com`; `joints`
/// with their `name`, the `body` that they turn and their `torque`; `ground_height` [m], or null if it is not known;
/// `columns`, PackedColumns with the time since the start.
///
/// Results with contact also have `ground`: `zmp`, its
/// `margin`, `residual` and `feasible`, the `level` [m] above its lowest corner up to which a sole's corners bear, and
/// `soles` with their `name` and `body`, the vertical `load`, the horizontal `shear` and the `pressure` in the world,
/// `contact`, and where the corners of the sole are known these in the `body`'s axes, with its `orientation`, a
/// quaternion from w on.
///
/// Torques, `com`, `margin` and `load` are curves: the column of the `values`, and if some
/// samples are left out also of the `low` and the `high`, the lowest and highest values from each sample to before the
/// next. All else over time is a `column` and the `unit` of its integers, for `feasible` with a `low` column too. What
/// is in space is x, y and z [m]. With Detail::curves there is nothing that only the figure shows.
///
/// Throws Error with
/// the file, the line and what was expected there.
nlohmann::json report_data(const std::filesystem::path& results, const tesk::RigidBodySystem& system,
                           const ReportGround& ground = {}, Detail detail = Detail::all);

}  // namespace korvel::host
