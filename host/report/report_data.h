#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>

namespace korvel::host {

/// The data of the page: the description beside a results file, as run_description makes it, and what follows from the
/// results. `file`, their name; `samples`, how many they have; `time`, for each of them that is shown the time since
/// the first [s]: one in `stride`, the last and those of the peaks; `start`, the time of the first [s]; `curves` and
/// `others`, the names of the columns that the page shows; `columns`, the packed columns.
///
/// `gaps` of a recording are those of the description, and numbers in them may be NaN.
///
/// The packed columns have the `curves` first: the centre of mass, torque, angle and speed of the joints, and if
/// there is a ground the forces of its soles, the margin, and whether the ground can support the motion. If samples are
/// left out, the lowest values of each curve from each sample to before the next follow, and the highest. Then come the
/// `others`, rounded to multiples of 2^-17. A body that turns about the origin of its parent has no origin of its own,
/// and only the bodies at the end of a limb have a centre of mass.
///
/// Throws Error with the file, the line and what was expected there.
nlohmann::json report_data(const std::filesystem::path& results);

}  // namespace korvel::host
