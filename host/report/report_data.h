#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>

namespace korvel::host {

/// The data of the page: the description beside a results file, as run_description makes it, and what follows from the
/// results. `file`, their name; `samples`, how many they have; `time`, for each of them that is shown the time since
/// the first [s]: one in `stride`, the last and those of the peaks; `start`, the time of the first [s]; `com`, the
/// centre of mass in the world; for each of the `bodies` in the world the `origin`, and the `com` of those at the end
/// of a limb; for each of the `joints` its `torque`, `angle` and `speed`;
/// `columns`, the packed columns.
///
/// `gaps` of a recording are those of the description, and numbers in them may be NaN.
///
/// `ground`, if there is one, has `zmp`, its `margin` and `feasible`. Each of its `soles` has its `name`,
/// the vertical `load`, the horizontal `shear` and the `pressure` in the world, `contact`, and the `orientation` of its
/// body, a quaternion from w on.
///
/// Quantities that change over time are given by the index of their column. Those of joints, `com`, `margin`,
/// `load` and `feasible` are curves, of which there are `curves`. The packed columns have these first;
/// then, if samples are left out, the lowest values of each curve from each sample to before the next, and the highest;
/// then the columns of all else, rounded to multiples of 2^-17, whose indexes begin at 0 again. Points in space are x,
/// y and z [m].
///
/// Throws Error with the file, the line and what was expected there.
nlohmann::json report_data(const std::filesystem::path& results);

}  // namespace korvel::host
