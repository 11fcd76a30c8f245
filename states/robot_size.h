#pragma once

#include "plugin/rigid_body_system.h"

namespace korvel {

// Where things stand in a list of coordinates: first the root's six, then one of each joint angle, which belongs to the
// body of the next index.
inline constexpr int root_coordinates = 6;
constexpr int coordinate_of_joint(int j) { return root_coordinates + j; }
/// Of the joint that carries a body; of the root's, the first.
constexpr int coordinate_of(int b) { return b == 0 ? 0 : coordinate_of_joint(b - 1); }

/// How large a robot is.
struct RobotSize {
  int bodies;
  int joints;  ///< joint angles
  int volatile_frames;

  /// Also by conversion: wherever a size is asked for, a robot gives its own.
  RobotSize(const tesk::RigidBodySystem& robot)
      : bodies(static_cast<int>(robot.getNbBodies())),
        joints(static_cast<int>(robot.getNbJointAngles())),
        volatile_frames(static_cast<int>(robot.getNbVolatileFrames())) {}
  /// Of a robot that has not been made, with no frames beside its bodies.
  explicit RobotSize(int body_count) : bodies(body_count), joints(body_count - 1), volatile_frames(0) {}

  int coordinates() const { return coordinate_of_joint(joints); }
};

/// The part of the joint angles.
template <typename Coordinates>
auto joints_of(Coordinates& coordinates) {
  return coordinates.tail(coordinates.size() - root_coordinates);
}

}  // namespace korvel
