#include "host/export/model.h"
#include "host/export/xml.h"

namespace korvel::host {

namespace {

using pugi::xml_node;

void append_inertial(xml_node node, const Body& body, const Eigen::Matrix3d& I, bool is_point) {
  xml_node inertial = append(node, "inertial", {{"pos", numbers(body.com_body)}, {"mass", numbers(body.mass)}});
  const std::string diagonal = all_digits(I.diagonal());
  if (is_point) {
    inertial.append_attribute("diaginertia").set_value(diagonal.c_str());
  } else {
    const std::string all = diagonal + ' ' + all_digits(Eigen::Vector3d(I(0, 1), I(0, 2), I(1, 2)));
    inertial.append_attribute("fullinertia").set_value(all.c_str());
  }
}

void append_geometry(xml_node node, const Robot& robot, std::size_t body) {
  const Body& shown = robot.bodies[body];
  append(node, "geom", {{"type", "sphere"}, {"size", numbers(ball_radius(shown))}, {"pos", numbers(shown.com_body)}});
  for (const Eigen::Vector3d& end : rod_ends(robot, body)) {
    append(node, "geom", {{"type", "capsule"}, {"size", numbers(rod_radius)}, {"fromto", "0 0 0 " + numbers(end)}});
  }
}

}  // namespace

std::string to_mjcf(const Robot& robot, const Inertias& inertias) {
  pugi::xml_document document;
  document.append_child(pugi::node_comment).set_value(headline(inertias).c_str());
  const xml_node root = append(document.root(), "mujoco", {{"model", "korvel"}});
  append(root, "compiler", {{"angle", "radian"}, {"inertiafromgeom", "false"}});
  append(root, "option", {{"gravity", "0 0 -9.81"}});
  // Seen, but neither touched nor weighed.
  append(append(root, "default"), "geom",
         {{"contype", "0"}, {"conaffinity", "0"}, {"mass", "0"}, {"rgba", "0.45 0.6 0.8 1"}});

  std::vector<xml_node> nodes;
  const xml_node world = append(root, "worldbody");
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
      append(node, "joint", {{"name", body.joint}, {"axis", "0 0 1"}});
    }
    append_inertial(node, body, inertias.of_body[b], inertias.is_point[b]);
    append_geometry(node, robot, b);
    nodes.push_back(node);
  }
  return to_string(document);
}

}  // namespace korvel::host
