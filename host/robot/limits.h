#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace korvel::host {

namespace limit {

enum Kind : std::size_t { lower, upper, speed, torque, count };

/// The name of each kind, which is the column and the key in files, and its unit.
inline constexpr struct {
  const char* name;
  const char* unit;
} kinds[count] = {{"lower", "rad"}, {"upper", "rad"}, {"speed", "rad/s"}, {"torque", "N m"}};

}  // namespace limit

/// The limits of a joint by kind. Null is no limit.
using JointLimits = std::array<std::optional<double>, limit::count>;

/// Reads the limits of a robot's joints: CSV with a header row and one row per joint, columns in any order: `joint`,
/// its name; `lower` and `upper`, the angles between which it turns; `speed` and `torque`, the largest magnitudes. An
/// empty field is no limit, and joints without a row have none. Returns the limits of each joint, at least one in all.
/// Throws Error with the file, the line and what was expected there.
std::vector<JointLimits> read_limits(const std::filesystem::path& path, const std::vector<std::string>& joint_names);

}  // namespace korvel::host
