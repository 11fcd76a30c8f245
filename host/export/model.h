#pragma once

#include <Eigen/Geometry>
#include <initializer_list>
#include <pugixml.hpp>
#include <string>
#include <utility>
#include <vector>

#include "contact/sole.h"
#include "host/export/inertia.h"
#include "host/robot/limits.h"

namespace korvel::host {

/// The robot as a file for ROS and its relatives. A joint "floating" from a link "world" carries the root. `limits` are
/// those of each joint, or none at all.
std::string to_urdf(const Robot& robot, const Inertias& inertias, const std::vector<JointLimits>& limits = {});

/// The robot as a file for MuJoCo. With soles there is a ground, z = 0, which they touch and nothing else does.
/// With limits each joint has a motor.
std::string to_mjcf(const Robot& robot, const Inertias& inertias, const std::vector<contact::Sole>& soles = {},
                    const std::vector<JointLimits>& limits = {});

/// Stands in both files for a limit that a joint does not have, where a format requires one.
constexpr double no_limit = 1e6;

/// Shape of a body in both files, since viewers need one: a ball of water of the body's mass about its
/// centre of mass [m].
double ball_radius(const Body& body);
/// And rods to the origins of its children: where these are, in the body's frame, unless they are at its own origin.
std::vector<Eigen::Vector3d> rod_ends(const Robot& robot, std::size_t body);
constexpr double rod_radius = 0.006;

/// Opens every file: who wrote it and what it says of inertias.
std::string headline(const Inertias& inertias);

// ---- XML ----------------------------------------------------------------------------------------------------------

using Attributes = std::initializer_list<std::pair<const char*, std::string>>;

void set(pugi::xml_node node, Attributes attributes);

/// Adds an element to another one, or to the root of a document.
pugi::xml_node append(pugi::xml_node parent, const char* name, Attributes attributes = {});

/// Returns rounded numbers as attributes have them, with blanks between.
std::string numbers(double value);
std::string numbers(const Eigen::Vector3d& v);
std::string numbers(const Eigen::Quaterniond& q);  ///< w first

/// Writes a number that may be small with as many digits as give the same value back.
std::string all_digits(double value);
std::string all_digits(const Eigen::Vector3d& v);

std::string to_string(const pugi::xml_document& document);

}  // namespace korvel::host
