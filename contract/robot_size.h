#pragma once

#include <string_view>
#include <type_traits>

#include "plugin/rigid_body_system.h"

namespace korvel {

// A list of coordinates begins with the root's six. One of each joint angle follows; angle j belongs to body j + 1.
inline constexpr int root_coordinates = 6;
constexpr int coordinate_of_joint(int j) { return root_coordinates + j; }
/// Coordinate of the joint that carries a body; for the root, the first one.
constexpr int coordinate_of(int b) { return b == 0 ? 0 : coordinate_of_joint(b - 1); }

/// The numbers of bodies and coordinates of a robot.
struct RobotSize {
  int bodies;
  int joints;  ///< joint angles
  int volatile_frames;

  /// A conversion, so that a robot can be passed wherever its size is asked for.
  RobotSize(const tesk::RigidBodySystem& robot)
      : bodies(static_cast<int>(robot.getNbBodies())),
        joints(static_cast<int>(robot.getNbJointAngles())),
        volatile_frames(static_cast<int>(robot.getNbVolatileFrames())) {}
  /// Size of a robot that has not been made, with no frames beside its bodies.
  explicit RobotSize(int body_count) : bodies(body_count), joints(body_count - 1), volatile_frames(0) {}

  int coordinates() const { return coordinate_of_joint(joints); }
};

/// Returns how many numbers or pieces of something a robot of that size has.
using Count = int (*)(const RobotSize&);
inline int body_count(const RobotSize& size) { return size.bodies; }
inline int joint_count(const RobotSize& size) { return size.joints; }
inline int frame_count(const RobotSize& size) { return size.volatile_frames; }
/// Rows times one for each coordinate.
template <int rows>
int coordinate_count(const RobotSize& size) {
  return rows * size.coordinates();
}
template <int n>
int just(const RobotSize&) {
  return n;
}

/// The bytes of all numbers of a value.
inline std::string_view bytes_in(const tesk::FloatRange& view) noexcept {
  return {reinterpret_cast<const char*>(view.first), view.size() * sizeof(float)};
}
template <typename Value>
std::string_view bytes_in(const Value& value) noexcept {
  if constexpr (std::is_trivially_copyable_v<Value>) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
  } else {
    return {reinterpret_cast<const char*>(value.data()),
            static_cast<std::size_t>(value.size()) * sizeof(*value.data())};
  }
}

/// The part of the joint angles.
template <typename Coordinates>
auto joints_of(Coordinates& coordinates) {
  return coordinates.tail(coordinates.size() - root_coordinates);
}

}  // namespace korvel
