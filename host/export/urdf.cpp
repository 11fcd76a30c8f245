#include <cmath>

#include "host/export/model.h"

namespace korvel::host {

namespace {

using Eigen::Vector3d;
using pugi::xml_node;

/// Roll, pitch and yaw of Rz(yaw) Ry(pitch) Rx(roll). Where pitch is a right angle, the split between the other two is
/// arbitrary.
Vector3d roll_pitch_yaw(const Eigen::Quaterniond& rotation) {
  constexpr double nothing = 1e-9;
  const Eigen::Matrix3d R = rotation.toRotationMatrix();
  const double cos_pitch = std::hypot(R(0, 0), R(1, 0));
  const double yaw = cos_pitch > nothing ? std::atan2(R(1, 0), R(0, 0)) : 0;
  const double roll =
      std::atan2(std::sin(yaw) * R(0, 2) - std::cos(yaw) * R(1, 2), std::cos(yaw) * R(1, 1) - std::sin(yaw) * R(0, 1));
  return {roll, std::atan2(-R(2, 0), cos_pitch), yaw};
}

void append_origin(xml_node parent, const Placement& placement) {
  append(parent, "origin",
         {{"xyz", numbers(placement.translation)}, {"rpy", numbers(roll_pitch_yaw(placement.rotation))}});
}

/// A place and the element "geometry" for what is there.
xml_node append_visual(xml_node link, const Placement& placement) {
  const xml_node visual = append(link, "visual");
  append_origin(visual, placement);
  return append(visual, "geometry");
}

void append_visuals(xml_node link, const Robot& robot, std::size_t body) {
  const Placement ball{Eigen::Quaterniond::Identity(), robot.bodies[body].com_body};
  append(append_visual(link, ball), "sphere", {{"radius", numbers(ball_radius(robot.bodies[body]))}});
  for (const Vector3d& end : rod_ends(robot, body)) {
    // The rotation turns z to the direction of the rod, with the vector half-way between. That vector vanishes for
    // a rod along -z, which may turn about any axis.
    Vector3d half = Vector3d::UnitZ() + end.normalized();
    if (half.norm() < 1e-9) half = Vector3d::UnitX();
    half.normalize();
    const Placement rod{Eigen::Quaterniond(half.z(), -half.y(), half.x(), 0), end / 2};
    append(append_visual(link, rod), "cylinder", {{"radius", numbers(rod_radius)}, {"length", numbers(end.norm())}});
  }
}

void append_inertial(xml_node link, const Body& body, const Eigen::Matrix3d& inertia) {
  const xml_node inertial = append(link, "inertial");
  append_origin(inertial, {Eigen::Quaterniond::Identity(), body.com_body});
  append(inertial, "mass", {{"value", numbers(body.mass)}});
  append(inertial, "inertia",
         {{"ixx", all_digits(inertia(0, 0))},
          {"ixy", all_digits(inertia(0, 1))},
          {"ixz", all_digits(inertia(0, 2))},
          {"iyy", all_digits(inertia(1, 1))},
          {"iyz", all_digits(inertia(1, 2))},
          {"izz", all_digits(inertia(2, 2))}});
}

/// Programs reject a limit without effort or velocity, and take a missing angle for 0.
void append_limit(xml_node joint, const JointLimits& limits) {
  const auto& [lower, upper, speed, torque] = limits;
  if (!lower && !upper && !speed && !torque) return;
  const xml_node node =
      append(joint, "limit",
             {{"effort", all_digits(torque.value_or(no_limit))}, {"velocity", all_digits(speed.value_or(no_limit))}});
  if (!lower && !upper) return;
  joint.attribute("type").set_value("revolute");
  set(node, {{"lower", all_digits(lower.value_or(-no_limit))}, {"upper", all_digits(upper.value_or(no_limit))}});
}

}  // namespace

std::string to_urdf(const Robot& robot, const Inertias& inertias, const std::vector<JointLimits>& limits) {
  pugi::xml_document document;
  document.append_child(pugi::node_comment).set_value(headline(inertias).c_str());
  const xml_node root = append(document.root(), "robot", {{"name", "korvel"}});
  append(root, "link", {{"name", "world"}});
  for (std::size_t b = 0; b < robot.bodies.size(); ++b) {
    const Body& body = robot.bodies[b];
    const bool is_root = body.parent < 0;
    const xml_node joint = append(root, "joint", {{"name", body.joint}, {"type", is_root ? "floating" : "continuous"}});
    append(joint, "parent", {{"link", is_root ? "world" : robot.bodies[static_cast<std::size_t>(body.parent)].name}});
    append(joint, "child", {{"link", body.name}});
    append_origin(joint, placement_in_parent(robot, body));
    if (!is_root) append(joint, "axis", {{"xyz", "0 0 1"}});
    if (!is_root && !limits.empty()) append_limit(joint, limits[b - 1]);

    const xml_node link = append(root, "link", {{"name", body.name}});
    append_inertial(link, body, inertias.of_body[b]);
    append_visuals(link, robot, b);
  }
  return to_string(document);
}

}  // namespace korvel::host
