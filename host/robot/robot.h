#pragma once

#include <Eigen/Geometry>
#include <cmath>
#include <string>
#include <vector>

#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// A body as files and tables tell of it. Its joint is the root's free one, or turns it about the z axis of its frame.
///
/// A number that the module has in single precision is here the shortest decimal number that stands for it: 0.1, not
/// 0.10000000149.
struct Body {
  std::string name;
  std::string joint;
  int parent;  ///< -1 for the root
  int first_coordinate;
  int coordinate_count;
  double mass;
  Eigen::Vector3d com_body;
  /// The body's frame in the root's at joint angles of zero, as the module has it: orthonormal to about 1e-6.
  Eigen::Affine3d pose_root;

  Eigen::Vector3d position_root() const { return pose_root.translation(); }
  /// The rotation nearest to that of the pose; its columns are the frame's axes, of which a joint turns about the last.
  Eigen::Matrix3d rotation_root() const { return pose_root.rotation(); }
};

/// Rounds to 1e-12, far below what single precision rounds, so that nothing of the rounding of double precision shows.
inline double rounded_for_text(double value) { return std::round(value * 1e12) / 1e12 + 0.0; }

struct Robot {
  std::vector<Body> bodies;  ///< parents before their children
  double mass;
};

/// Names of the bodies, by index.
std::vector<std::string> body_names(const tesk::RigidBodySystem& system);

/// Names of the joint angles, by index.
std::vector<std::string> joint_names(const tesk::RigidBodySystem& system);

/// The limb of each joint, by the body below the root from which it hangs.
std::vector<int> limbs_of(const tesk::RigidBodySystem& system);

/// The robot of a module. `system` has its initial values, and gets stored poses that mean nothing.
Robot read_robot(tesk::RigidBodySystem& system);

/// The pose of a body's frame in its parent's at a joint angle of zero; the identity for the root.
struct Placement {
  Eigen::Quaterniond rotation;
  Eigen::Vector3d translation;
};
Placement placement_in_parent(const Robot& robot, const Body& body);

}  // namespace korvel::host
