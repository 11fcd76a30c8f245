#include "host/robot/limits.h"

#include <algorithm>

#include "motion/csv/csv_reader.h"

namespace korvel::host {

std::vector<JointLimits> read_limits(const std::filesystem::path& path, const std::vector<std::string>& joint_names) {
  std::vector<std::string> columns{"joint"};
  for (const auto& kind : limit::kinds) columns.emplace_back(kind.name);
  std::vector<std::size_t> places;
  std::vector<JointLimits> limits(joint_names.size());
  std::vector<bool> has_row(joint_names.size());
  const auto add_joint = [&](const CsvRow& row) {
    const std::string& name = row.fields[places[0]];
    const std::size_t joint = index_of_name(path, row.line, name, joint_names, "a joint");
    if (has_row[joint]) throw error_at(path, row.line, "expected each joint once, found a second '{}'", name);
    has_row[joint] = true;
    JointLimits& of_joint = limits[joint];
    for (std::size_t kind = 0; kind < limit::count; ++kind) {
      const std::string& field = row.fields[places[kind + 1]];
      if (!field.empty()) of_joint[kind] = read_number(path, row.line, columns[kind + 1], field);
    }
    const auto& lower = of_joint[limit::lower];
    const auto& upper = of_joint[limit::upper];
    if (lower && upper && !(*lower < *upper)) {
      throw error_at(path, row.line, "expected a lower limit below the upper limit, found {} and {}", *lower, *upper);
    }
    for (const limit::Kind kind : {limit::speed, limit::torque}) {
      if (of_joint[kind].value_or(1) > 0) continue;
      throw error_at(path, row.line, "expected a {} above 0, or an empty field for no limit, found {}",
                     limit::kinds[kind].name, *of_joint[kind]);
    }
  };
  read_table(
      path, "joint", [&](const CsvRow& header) { places = places_of_columns(path, header, columns); }, add_joint);
  const auto has_limit = [](const JointLimits& of_joint) { return of_joint != JointLimits{}; };
  if (std::none_of(limits.begin(), limits.end(), has_limit)) {
    throw Error("{}: expected a limit of a joint, found only empty fields", path.string());
  }
  return limits;
}

}  // namespace korvel::host
