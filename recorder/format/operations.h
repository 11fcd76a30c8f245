#pragma once

#include <array>
#include <string>

#include "contract/operations.h"
#include "recorder/format/values.h"

namespace korvel::recording {

/// Resources that an object is set to.
inline constexpr Resources inputs_of_object{Resource::root_pose, Resource::root_velocity, Resource::root_acceleration,
                                            Resource::positions, Resource::velocities,    Resource::accelerations,
                                            Resource::wrenches,  Resource::volatile_poses};
/// Resources that the first records of a block set again to their values at its beginning.
inline constexpr Resources restated_inputs = inputs_of_object | Resources{Resource::inertias};

/// Returns what a resource has one of each for, or `none`.
constexpr IndexKind index_of(Resource kind) {
  constexpr Resources of_joints{Resource::positions, Resource::velocities, Resource::accelerations};
  constexpr Resources of_bodies{Resource::wrenches, Resource::poses, Resource::inertias};
  return of_joints.has(kind)                ? IndexKind::joint
         : of_bodies.has(kind)              ? IndexKind::body
         : kind == Resource::volatile_poses ? IndexKind::volatile_frame
                                            : IndexKind::none;
}

/// An operation as records have it.
struct OperationEntry : OperationData {
  Operation number;
  std::array<Shape, 4> arguments;
  Shape result;  ///< of a computation, which returns nothing, all that the object shows of it
  /// Calls it and puts the result. May throw what the operation throws. Null for `create`, `destroy` and `clone`.
  void (*perform)(tesk::RigidBodySystem& robot, const RobotSize& size, const char* arguments, char* result);

  std::size_t argument_bytes(const RobotSize& size) const;
};

extern const std::array<OperationEntry, operation_count> all_operations;
inline const OperationEntry& entry(Operation operation) { return all_operations[static_cast<std::size_t>(operation)]; }

/// Returns whether a block may begin with this operation: creation, the sum of masses, and inputs.
inline bool is_restated(const OperationEntry& operation) {
  return operation.number == operation_of<&::create> || operation.number == operation_of<mass_of_robot> ||
         operation.writes.meets(restated_inputs);
}

/// Returns the operation's name and shapes as JSON. Types are those of numpy: f4, u8, i8, S.
std::string description(const OperationEntry& operation, const RobotSize& size);

}  // namespace korvel::recording
