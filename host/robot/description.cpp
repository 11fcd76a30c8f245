#include "host/robot/description.h"

#include <fmt/format.h>

#include <iterator>
#include <nlohmann/json.hpp>
#include <numeric>

namespace korvel::host {

namespace {

using Json = nlohmann::ordered_json;

/// The conventions of the interface's numbers, in short.
constexpr struct {
  const char* subject;
  const char* text;
} conventions[] = {
    {"units", "m, rad, kg, s, N, in single precision"},
    {"coordinates", "root: 0 to 2 along, 3 to 5 about its axes; 6 + j: joint angle j"},
    {"root", "frame of body 0; its rates are in its own axes, linear part first"},
    {"world", "z points up; orientation is Rz(yaw) Ry(pitch) Rx(roll)"},
    {"joints", "each turns its body about the z axis of the body's frame"},
    {"com jacobian", "of the robot without body b, times its mass: the host divides"},
    {"wrenches", "force, then moment about the body's origin, in the body's axes"},
    {"torques", "the joint must provide them; positive about +z"},
    {"more", "docs/conventions.md"},
};

std::string parent_name(const Robot& robot, const Body& body) {
  return body.parent < 0 ? "-" : robot.bodies[static_cast<std::size_t>(body.parent)].name;
}

std::string joint_name(const Body& body) { return body.parent < 0 ? body.joint + " (free)" : body.joint; }

std::string coordinates(const Body& body) {
  const int last = body.first_coordinate + body.coordinate_count - 1;
  return body.coordinate_count == 1 ? fmt::format("{}", last) : fmt::format("{} to {}", body.first_coordinate, last);
}

Json json(const Eigen::Vector3d& v) {
  return {rounded_for_text(v.x()), rounded_for_text(v.y()), rounded_for_text(v.z())};
}

Json json(const Robot& robot, std::size_t index) {
  const Body& body = robot.bodies[index];
  std::vector<int> coordinates(static_cast<std::size_t>(body.coordinate_count));
  std::iota(coordinates.begin(), coordinates.end(), body.first_coordinate);
  const bool is_root = body.parent < 0;
  const Eigen::Matrix3d R = body.rotation_root();
  return {{"index", index},
          {"name", body.name},
          {"parent", is_root ? Json() : Json(body.parent)},
          {"parent_name", is_root ? Json() : Json(parent_name(robot, body))},
          {"joint", body.joint},
          {"joint_type", is_root ? "free" : "revolute"},
          {"joint_angle", is_root ? Json() : Json(index - 1)},
          {"coordinates", coordinates},
          {"mass", body.mass},
          {"com_body", json(body.com_body)},
          {"origin_root", json(body.position_root())},
          {"axes_root", {{"x", json(R.col(0))}, {"y", json(R.col(1))}, {"z", json(R.col(2))}}}};
}

std::string quoted(const std::string& text) { return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace

std::string described_as_table(const Identity& module, const Robot& robot) {
  std::string text = lines_of(module) + '\n';
  const auto out = std::back_inserter(text);
  fmt::format_to(out, "{:>4}  {:<15}  {:<15}  {:<15}  {:>11}  {:>9}\n", "body", "name", "parent", "joint",
                 "coordinates", "mass [kg]");
  for (std::size_t b = 0; b < robot.bodies.size(); ++b) {
    const Body& body = robot.bodies[b];
    fmt::format_to(out, "{:>4}  {:<15}  {:<15}  {:<15}  {:>11}  {:>9.5f}\n", b, body.name, parent_name(robot, body),
                   joint_name(body), coordinates(body), body.mass);
  }
  fmt::format_to(out, "\n{} bodies, {} joint angles, total mass {:.5f} kg\n\n", robot.bodies.size(),
                 robot.bodies.size() - 1, robot.mass);
  for (const auto& [subject, convention] : conventions) fmt::format_to(out, "{:<12}  {}\n", subject, convention);
  return text;
}

std::string described_as_json(const Identity& module, const Robot& robot) {
  Json bodies = Json::array();
  for (std::size_t b = 0; b < robot.bodies.size(); ++b) bodies.push_back(json(robot, b));
  Json said = Json::object();
  for (const auto& [subject, convention] : conventions) said[subject] = convention;
  const Json all{{"module", module.path.string()},
                 {"version", module.version},
                 {"build_id", module.build_id},
                 {"mass", robot.mass},
                 {"bodies", bodies},
                 {"conventions", said}};
  return json_text(all);
}

std::string described_as_dot(const Robot& robot) {
  std::string text = "digraph robot {\n  rankdir=LR;\n  node [shape=box];\n";
  const auto out = std::back_inserter(text);
  for (std::size_t b = 0; b < robot.bodies.size(); ++b) {
    const Body& body = robot.bodies[b];
    const std::string label = fmt::format("{} {}", b, body.name);
    fmt::format_to(out, "  {} [label={}];\n", b, quoted(label));
    if (body.parent < 0) continue;
    const std::string joint = fmt::format("{}, {}", body.joint, coordinates(body));
    fmt::format_to(out, "  {} -> {} [label={}];\n", body.parent, b, quoted(joint));
  }
  return text += "}\n";
}

}  // namespace korvel::host
