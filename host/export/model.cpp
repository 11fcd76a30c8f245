#include "host/export/model.h"

#include <fmt/format.h>

#include <cmath>
#include <sstream>

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
  const std::size_t points = inertias.points();
  const std::size_t all = inertias.of_body.size();
  std::string text =
      " Written by korvel-host export from what the module says of its robot at joint angles of zero. Rotational "
      "inertias about the centres of mass were recovered from the mass matrix. ";
  if (points > 0) {
    text += fmt::format(
        "{} of {} bodies have none, to within rounding ({:.0e} kg m^2): they are points. Engines want a positive one, "
        "these bodies have {} kg m^2 about each axis. ",
        points, all, inertias.largest_of_points, least_inertia);
  }
  if (points < all) text += fmt::format("{} bodies have the inertia that was recovered. ", all - points);
  return text;
}

void set(pugi::xml_node node, Attributes attributes) {
  for (const auto& [key, value] : attributes) node.append_attribute(key).set_value(value.c_str());
}

pugi::xml_node append(pugi::xml_node parent, const char* name, Attributes attributes) {
  const pugi::xml_node node = parent.append_child(name);
  set(node, attributes);
  return node;
}

std::string numbers(double value) { return fmt::format("{}", rounded_for_text(value)); }

std::string numbers(const Eigen::Vector3d& v) {
  return fmt::format("{} {} {}", numbers(v.x()), numbers(v.y()), numbers(v.z()));
}

std::string numbers(const Eigen::Quaterniond& q) {
  return fmt::format("{} {}", numbers(q.w()), numbers(Eigen::Vector3d(q.vec())));
}

std::string all_digits(double value) { return fmt::format("{}", value); }

std::string all_digits(const Eigen::Vector3d& v) { return fmt::format("{} {} {}", v.x(), v.y(), v.z()); }

std::string to_string(const pugi::xml_document& document) {
  std::ostringstream text;
  document.save(text, "  ");
  return text.str();
}

}  // namespace korvel::host
