#include "host/results/results.h"

#include <fmt/format.h>

#include <iterator>

namespace korvel::host {

namespace {

void add_point(std::vector<std::string>& columns, const std::string& name) {
  for (const char* axis : {"_x", "_y", "_z"}) columns.push_back(name + axis);
}

}  // namespace

std::vector<std::string> results_columns(const tesk::RigidBodySystem& system) {
  std::vector<std::string> columns{"time"};
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) {
    columns.push_back(system.getJointAngleName(j) + "_torque");
  }
  add_point(columns, "com");
  add_point(columns, "com_root");
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) add_point(columns, system.getBodyName(b));
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) add_point(columns, system.getBodyName(b) + "_com");
  return columns;
}

std::string results_header(const tesk::RigidBodySystem& system) {
  return fmt::format("{}\n", fmt::join(results_columns(system), ","));
}

std::string results_row(const tesk::RigidBodySystem& system, double time) {
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
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    const QZ::Math::Position3D com = system.getComPosition(b);
    fmt::format_to(out, ",{},{},{}", com.x, com.y, com.z);
  }
  return row += '\n';
}

}  // namespace korvel::host
