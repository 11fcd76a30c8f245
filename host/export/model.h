#pragma once

#include <string>
#include <vector>

#include "contact/sole.h"
#include "host/export/inertia.h"

namespace korvel::host {

/// The robot as a file for ROS and its relatives. A joint "floating" from a link "world" carries the root.
std::string to_urdf(const Robot& robot, const Inertias& inertias);

/// The robot as a file for MuJoCo. With soles there is a ground, z = 0, which they touch and nothing else does.
std::string to_mjcf(const Robot& robot, const Inertias& inertias, const std::vector<contact::Sole>& soles = {});

/// Shape of a body in both files, since viewers need one: a ball of water of the body's mass about its
/// centre of mass [m].
double ball_radius(const Body& body);
/// And rods to the origins of its children: where these are, in the body's frame, unless they are at its own origin.
std::vector<Eigen::Vector3d> rod_ends(const Robot& robot, std::size_t body);
constexpr double rod_radius = 0.006;

/// Opens every file: who wrote it and what it says of inertias.
std::string headline(const Inertias& inertias);

}  // namespace korvel::host
