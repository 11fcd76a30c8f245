#include <fmt/format.h>

#include <cmath>

#include "host/export/model.h"

namespace korvel::host {

namespace {

using pugi::xml_node;

void append_inertial(xml_node node, const Body& body, const Eigen::Matrix3d& I, bool is_point) {
  const std::string diagonal = all_digits(I.diagonal());
  const std::string rest = all_digits(Eigen::Vector3d(I(0, 1), I(0, 2), I(1, 2)));
  append(node, "inertial",
         {{"pos", numbers(body.com_body)},
          {"mass", numbers(body.mass)},
          {is_point ? "diaginertia" : "fullinertia", is_point ? diagonal : diagonal + ' ' + rest}});
}

void append_geometry(xml_node node, const Robot& robot, std::size_t body) {
  const Body& shown = robot.bodies[body];
  append(node, "geom", {{"type", "sphere"}, {"size", numbers(ball_radius(shown))}, {"pos", numbers(shown.com_body)}});
  for (const Eigen::Vector3d& end : rod_ends(robot, body)) {
    append(node, "geom", {{"type", "capsule"}, {"size", numbers(rod_radius)}, {"fromto", "0 0 0 " + numbers(end)}});
  }
}

/// Thickness of the bodies that represent soles [m].
constexpr double sole_thickness = 0.01;

/// Upright on the sole, towards the body's origin.
Eigen::Vector3d inward(const contact::Sole& sole) {
  const auto& c = sole.corners_body();
  const Eigen::Vector3d normal = (c[1] - c[0]).cross(c[2] - c[1]).normalized();
  return normal.dot(sole.centre_body()) > 0 ? Eigen::Vector3d(-normal) : normal;
}

bool is_rectangle(const contact::Sole& sole) {
  const auto& c = sole.corners_body();
  constexpr double tolerance = 1e-9;
  return c.size() == 4 && (c[0] + c[2] - c[1] - c[3]).norm() < tolerance &&
         std::abs((c[0] - c[2]).norm() - (c[1] - c[3]).norm()) < tolerance;
}

/// Boxes touch a plane with all their corners, hulls with three at most.
void append_sole(xml_node body, xml_node assets, const std::string& name, const contact::Sole& sole) {
  const auto& c = sole.corners_body();
  const Eigen::Vector3d up = inward(sole);
  const xml_node geom =
      append(body, "geom",
             {{"name", name + "Sole"}, {"contype", "1"}, {"friction", numbers(sole.friction()) + " 0.005 0.0001"}});
  if (is_rectangle(sole)) {
    Eigen::Matrix3d axes;
    axes << (c[1] - c[0]).normalized(), up.cross((c[1] - c[0]).normalized()), up;
    const Eigen::Vector3d half = Eigen::Vector3d((c[1] - c[0]).norm(), (c[2] - c[1]).norm(), sole_thickness) / 2;
    set(geom, {{"type", "box"},
               {"size", numbers(half)},
               {"pos", numbers(Eigen::Vector3d(sole.centre_body() + up * half.z()))},
               {"quat", numbers(Eigen::Quaterniond(axes))}});
    return;
  }
  std::string vertices;
  for (const Eigen::Vector3d& corner : c) {
    vertices += numbers(corner) + ' ' + numbers(Eigen::Vector3d(corner + sole_thickness * up)) + ' ';
  }
  vertices.pop_back();
  append(assets, "mesh", {{"name", name + "Sole"}, {"vertex", vertices}});
  set(geom, {{"type", "mesh"}, {"mesh", name + "Sole"}});
}

std::string range(double lower, double upper) { return all_digits(lower) + ' ' + all_digits(upper); }

/// A range for the joint, and a motor whose control is the torque.
void append_limits(xml_node joint, xml_node motors, const JointLimits& limits) {
  const auto& [lower, upper, speed, torque] = limits;
  const std::string name = joint.attribute("name").value();
  const xml_node motor = append(motors, "motor", {{"name", name}, {"joint", name}});
  if (lower || upper) {
    set(joint, {{"limited", "true"}, {"range", range(lower.value_or(-no_limit), upper.value_or(no_limit))}});
  }
  if (!torque) return;
  const std::string torques = range(-*torque, *torque);
  set(motor, {{"ctrllimited", "true"}, {"ctrlrange", torques}, {"forcelimited", "true"}, {"forcerange", torques}});
}

}  // namespace

std::string to_mjcf(const Robot& robot, const Inertias& inertias, const std::vector<contact::Sole>& soles,
                    const std::vector<JointLimits>& limits) {
  pugi::xml_document document;
  document.append_child(pugi::node_comment).set_value(headline(inertias).c_str());
  xml_node root = append(document.root(), "mujoco", {{"model", "korvel"}});
  append(root, "compiler", {{"angle", "radian"}, {"inertiafromgeom", "false"}});
  append(root, "option", {{"gravity", "0 0 -9.81"}});
  // Seen, but neither touched nor weighed.
  append(append(root, "default"), "geom",
         {{"contype", "0"}, {"conaffinity", "0"}, {"mass", "0"}, {"rgba", "0.45 0.6 0.8 1"}});

  std::vector<xml_node> nodes;
  const xml_node world = append(root, "worldbody");
  const xml_node motors = limits.empty() ? xml_node() : append(root, "actuator");
  for (std::size_t b = 0; b < robot.bodies.size(); ++b) {
    const Body& body = robot.bodies[b];
    const bool is_root = body.parent < 0;
    const Placement placement = placement_in_parent(robot, body);
    const xml_node node =
        append(is_root ? world : nodes[static_cast<std::size_t>(body.parent)], "body",
               {{"name", body.name}, {"pos", numbers(placement.translation)}, {"quat", numbers(placement.rotation)}});
    if (is_root) {
      append(node, "freejoint", {{"name", body.joint}});
    } else {
      const xml_node joint = append(node, "joint", {{"name", body.joint}, {"axis", "0 0 1"}});
      if (!limits.empty()) append_limits(joint, motors, limits[b - 1]);
    }
    append_inertial(node, body, inertias.of_body[b], inertias.is_point[b]);
    append_geometry(node, robot, b);
    nodes.push_back(node);
  }
  if (!soles.empty()) {
    const xml_node assets = root.insert_child_before("asset", world);
    for (const contact::Sole& sole : soles) {
      append_sole(nodes[sole.body()], assets, robot.bodies[sole.body()].name, sole);
    }
    // The friction of a pair is the larger one: that of the sole.
    append(world, "geom",
           {{"name", "Ground"},
            {"type", "plane"},
            {"size", "5 5 0.1"},
            {"conaffinity", "1"},
            {"friction", "0 0.005 0.0001"},
            {"rgba", "0.8 0.8 0.8 1"}});
  }
  return to_string(document);
}

}  // namespace korvel::host
