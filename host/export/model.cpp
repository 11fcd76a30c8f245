#include "host/export/model.h"

#include <cmath>

namespace korvel::host {

double ball_radius(const Body& body) {
  constexpr double water = 1000;
  return std::cbrt(3 * body.mass / (4 * M_PI * water));
}

std::vector<Eigen::Vector3d> rod_ends(const Robot& robot, std::size_t body) {
  constexpr double shortest = 1e-3;
  std::vector<Eigen::Vector3d> ends;
  for (const Body& other : robot.bodies) {
    if (other.parent != static_cast<int>(body)) continue;
    const Eigen::Vector3d end = placement_in_parent(robot, other).translation;
    if (end.norm() > shortest) ends.push_back(end);
  }
  return ends;
}

std::string headline(const Inertias& inertias) {
  return " Written by korvel-host export from what the module says of its robot at joint angles of zero. " +
         description(inertias);
}

}  // namespace korvel::host
