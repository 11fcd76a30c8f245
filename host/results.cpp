#include "host/results.h"

#include <fmt/format.h>

#include <iterator>

namespace korvel::host {

std::string resultsHeader(const tesk::RigidBodySystem& system) {
  std::string header = "time";
  const auto out = std::back_inserter(header);
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) {
    fmt::format_to(out, ",{}_torque", system.getJointAngleName(j));
  }
  fmt::format_to(out, ",com_x,com_y,com_z,com_root_x,com_root_y,com_root_z");
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    fmt::format_to(out, ",{0}_x,{0}_y,{0}_z", system.getBodyName(b));
  }
  return header += '\n';
}

std::string resultsRow(const tesk::RigidBodySystem& system, double time) {
  std::string row = fmt::format("{}", time);
  const auto out = std::back_inserter(row);
  for (const float torque : system.getJointAnglesTorque()) fmt::format_to(out, ",{}", torque);
  for (const auto& com : {system.getComPosition(), system.getComPositionInRoot()}) {
    fmt::format_to(out, ",{},{},{}", com.x, com.y, com.z);
  }
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    const QZ::Math::Transform& pose = system.getPose(b);
    fmt::format_to(out, ",{},{},{}", pose.tx, pose.ty, pose.tz);
  }
  return row += '\n';
}

}  // namespace korvel::host
