#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "contact/sole.h"

namespace korvel::host {

/// Reads the soles of a robot: CSV with a header row and one row per corner, columns in any order: `body`, its name;
/// `x`, `y`, `z` of the corner in the body's frame [m]; `friction` against the ground, the same at all corners of a
/// body. All corners of a body are one sole, flat and convex, in any order. Soles come in the order of the bodies of
/// the robot. Throws Error with the file, the line and what was expected there.
std::vector<contact::Sole> read_soles(const std::filesystem::path& path, const std::vector<std::string>& body_names);

}  // namespace korvel::host
