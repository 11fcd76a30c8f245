#include "host/export/xml.h"

#include <fmt/format.h>

#include <cmath>
#include <sstream>

namespace korvel::host {

void set(pugi::xml_node node, Attributes attributes) {
  for (const auto& [key, value] : attributes) node.append_attribute(key).set_value(value.c_str());
}

pugi::xml_node append(pugi::xml_node parent, const char* name, Attributes attributes) {
  const pugi::xml_node node = parent.append_child(name);
  set(node, attributes);
  return node;
}

std::string numbers(double value) {
  constexpr double unit = 1e12;
  // Adding zero makes a negative zero positive.
  return fmt::format("{}", std::round(value * unit) / unit + 0.0);
}

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
