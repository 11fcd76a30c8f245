#pragma once

#include <Eigen/Geometry>
#include <map>
#include <pugixml.hpp>
#include <sstream>
#include <string>

namespace korvel::host {

/// A body as a URDF or MJCF file has it.
struct FileBody {
  std::string parent, joint, joint_type;
  Eigen::Isometry3d placement;  ///< in the parent's frame
  Eigen::Vector3d axis;
  double mass;
  Eigen::Vector3d com;
  Eigen::Matrix3d inertia;
};

/// The bodies by name.
using FileBodies = std::map<std::string, FileBody>;

template <int Count>
Eigen::Matrix<double, Count, 1> values(const pugi::xml_attribute& attribute) {
  std::istringstream text(attribute.value());
  Eigen::Matrix<double, Count, 1> result;
  for (double& value : result) text >> value;
  if (!text) throw std::runtime_error(std::string("expected numbers, found ") + attribute.value());
  return result;
}

inline Eigen::Matrix3d symmetric(double xx, double yy, double zz, double xy, double xz, double yz) {
  return (Eigen::Matrix3d() << xx, xy, xz, xy, yy, yz, xz, yz, zz).finished();
}

inline FileBodies read_urdf(const std::string& text) {
  pugi::xml_document document;
  document.load_string(text.c_str());
  const pugi::xml_node robot = document.child("robot");
  FileBodies bodies;
  for (const pugi::xml_node& joint : robot.children("joint")) {
    FileBody& body = bodies[joint.child("child").attribute("link").value()];
    body.parent = joint.child("parent").attribute("link").value();
    body.joint = joint.attribute("name").value();
    body.joint_type = joint.attribute("type").value();
    const Eigen::Vector3d rpy = values<3>(joint.child("origin").attribute("rpy"));
    body.placement = Eigen::Translation3d(values<3>(joint.child("origin").attribute("xyz"))) *
                     Eigen::AngleAxisd(rpy.z(), Eigen::Vector3d::UnitZ()) *
                     Eigen::AngleAxisd(rpy.y(), Eigen::Vector3d::UnitY()) *
                     Eigen::AngleAxisd(rpy.x(), Eigen::Vector3d::UnitX());
    if (body.joint_type != "floating") body.axis = values<3>(joint.child("axis").attribute("xyz"));
  }
  for (auto& [name, body] : bodies) {
    const pugi::xml_node inertial = robot.find_child_by_attribute("link", "name", name.c_str()).child("inertial");
    const pugi::xml_node inertia = inertial.child("inertia");
    const auto entry = [&](const char* key) { return values<1>(inertia.attribute(key)).value(); };
    body.mass = values<1>(inertial.child("mass").attribute("value")).value();
    body.com = values<3>(inertial.child("origin").attribute("xyz"));
    body.inertia = symmetric(entry("ixx"), entry("iyy"), entry("izz"), entry("ixy"), entry("ixz"), entry("iyz"));
  }
  return bodies;
}

inline void read_mjcf_bodies(const pugi::xml_node& parent, FileBodies& bodies) {
  for (const pugi::xml_node& node : parent.children("body")) {
    FileBody& body = bodies[node.attribute("name").value()];
    const bool is_free = !node.child("freejoint").empty();
    const pugi::xml_node joint = node.child(is_free ? "freejoint" : "joint");
    body.parent = is_free ? "world" : parent.attribute("name").value();
    body.joint = joint.attribute("name").value();
    body.joint_type = is_free ? "floating" : "continuous";
    const Eigen::Vector4d q = values<4>(node.attribute("quat"));
    body.placement =
        Eigen::Translation3d(values<3>(node.attribute("pos"))) * Eigen::Quaterniond(q(0), q(1), q(2), q(3));
    if (!is_free) body.axis = values<3>(joint.attribute("axis"));
    const pugi::xml_node inertial = node.child("inertial");
    body.mass = values<1>(inertial.attribute("mass")).value();
    body.com = values<3>(inertial.attribute("pos"));
    if (inertial.attribute("fullinertia")) {
      const auto I = values<6>(inertial.attribute("fullinertia"));
      body.inertia = symmetric(I(0), I(1), I(2), I(3), I(4), I(5));
    } else {
      body.inertia = values<3>(inertial.attribute("diaginertia")).asDiagonal();
    }
    read_mjcf_bodies(node, bodies);
  }
}

inline FileBodies read_mjcf(const std::string& text) {
  pugi::xml_document document;
  document.load_string(text.c_str());
  FileBodies bodies;
  read_mjcf_bodies(document.child("mujoco").child("worldbody"), bodies);
  return bodies;
}

}  // namespace korvel::host
