#pragma once

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "recording/values.h"
#include "states/shown.h"

namespace korvel::recording {

/// The operations in the order of the interface, new ones at the end: recordings have these numbers.
enum class Operation : std::uint16_t {
  create,
  destroy,
  clone,
  getName,
  getNbJointAngles,
  getNbBodies,
  getNbVolatileFrames,
  getRootName,
  getJointAngleName,
  getJointAngleId,
  getBodyName,
  getBodyId,
  setBodyInertia,
  getMass,
  getPartialMass,
  getMassOfBody,
  setRootPose,
  getRootPose,
  setRootVelocity,
  setRootAcceleration,
  getRootVelocity,
  getRootAcceleration,
  setJointAnglesPos,
  setJointAnglesVel,
  setJointAnglesAcc,
  setJointAnglePos,
  setJointAngleVel,
  setJointAngleAcc,
  getJointAnglePos,
  getJointAngleVel,
  getJointAngleAcc,
  getJointAnglesPos,
  getJointAnglesVel,
  getJointAnglesAcc,
  setExternalWrench,
  setExternalWrenchInFrame,
  computeFwdKinematicsExceptRoot,
  computeFwdKinematicsOnlyRoot,
  computeFwdKinematics,
  computeGeneralizedMass,
  computePartialComJacobian,
  computePartialComPositionInRoot,
  getPoseInRoot,
  getPose,
  setPose,
  getVolatilePose,
  setVolatilePose,
  getComPositionOfBody,
  getComPositionInRoot,
  getComPosition,
  getGeneralizedMass,
  getJacobianInRoot,
  getParentsVector,
  getDofNumbersVector,
  getDofIndexesVector,
  computeInverseDynamics,
  getJointAngleTorque,
  getJointAnglesTorque
};
inline constexpr std::size_t operation_count = 58;

/// What calls leave behind for others, of an object or, the last two, of the module.
enum class Resource : unsigned {
  root_pose,  ///< the coordinates
  root_velocity,
  root_acceleration,
  positions,       ///< one for each joint angle
  velocities,      ///< likewise
  accelerations,   ///< likewise
  wrenches,        ///< one for each body
  volatile_poses,  ///< one for each volatile frame
  root_transform,  ///< that of the root's joint, which the partial jacobian is turned by
  joint_pass,      ///< the other joints' transforms
  in_root,         ///< poses and jacobian relative to the root
  com_in_root,     ///< the robot's centre of mass, and what it is summed from
  poses,           ///< in the world, one for each body
  com,             ///< of the robot in the world
  mass_matrix,
  torques,
  inertias,  ///< one for each body
  total_mass
};
inline constexpr unsigned resource_kinds = 18;

using Resources = unsigned;  ///< bits
constexpr Resources bit(Resource kind) { return 1U << static_cast<unsigned>(kind); }

/// What an object is set to.
inline constexpr Resources inputs_of_object = bit(Resource::root_pose) | bit(Resource::root_velocity) |
                                              bit(Resource::root_acceleration) | bit(Resource::positions) |
                                              bit(Resource::velocities) | bit(Resource::accelerations) |
                                              bit(Resource::wrenches) | bit(Resource::volatile_poses);

/// Of what an operation reads, what goes into one thing that it writes; all of it, unless something is known to be
/// apart from the rest. Poses, say, are right whatever the masses are.
constexpr Resources goes_into(Resource written) {
  constexpr Resources positions = bit(Resource::positions);
  constexpr Resources in_world = bit(Resource::root_pose) | positions | bit(Resource::in_root);
  switch (written) {
    case Resource::root_transform:
      return bit(Resource::root_pose);
    case Resource::joint_pass:
    case Resource::in_root:
      return positions;
    case Resource::poses:
      return in_world;
    default:
      return ~Resources{0};
  }
}

/// What the index of an operation counts.
enum class Index { none, body, body_or_none, joint, volatile_frame, root };

/// A few results. Nothing of a table of them ends when a process does, for calls may still be recorded.
class ShownResults {
 public:
  ShownResults() = default;
  explicit ShownResults(const std::vector<Result>& results) : count_(results.size()) {
    std::copy(results.begin(), results.end(), results_.begin());
  }
  bool empty() const { return count_ == 0; }
  const Result* begin() const { return results_.data(); }
  const Result* end() const { return results_.data() + count_; }

 private:
  std::array<Result, std::tuple_size_v<decltype(all_results)>> results_{};
  std::size_t count_ = 0;
};

/// What there is to know of an operation to record, repeat and explain it.
struct OperationEntry {
  Operation operation;
  const char* name;  ///< that of the interface; a word tells overloads apart
  Index index;       ///< what the first argument is. The root is no argument: always body 0
  std::array<Shape, 4> arguments;
  Shape result;
  /// Of those with an index for each body, joint or frame: of that index alone, for an operation that has it.
  Resources reads, writes;
  /// What is shown of a computation that returns nothing; its result is all that it writes.
  ShownResults shown;
  /// Calls it and puts the result. May throw what the operation throws. Not for the first three.
  void (*perform)(tesk::RigidBodySystem& robot, const RobotSize& size, const char* arguments, char* result);

  std::size_t argument_bytes(const RobotSize& size) const;
  std::size_t result_numbers(const RobotSize& size) const;
  NumberType result_type() const { return shown.empty() ? result.type : NumberType::real; }
  std::size_t result_bytes(const RobotSize& size) const { return result_numbers(size) * bytes_of(result_type()); }
};

static_assert(std::is_trivially_destructible_v<OperationEntry>);

const std::array<OperationEntry, operation_count>& all_operations();
inline const OperationEntry& entry(Operation operation) {
  return all_operations()[static_cast<std::size_t>(operation)];
}

/// Whether a block may begin with it: creation, the sum of masses, and inputs.
bool is_restated(Operation operation);

/// How many indexes there are of a kind; what the operation takes beyond them is its own matter.
unsigned long count_of(Index index, const RobotSize& size);

/// What a record says of a result that was put so.
std::uint64_t result_word(const OperationEntry& entry, const RobotSize& size, const char* result) noexcept;

/// One hash of numbers, names and shapes for a robot of that size: equal where recordings are understood alike.
std::uint64_t contract_hash(const RobotSize& size);

/// As numpy has it: f4, u8, i8, S.
const char* in_words(NumberType type);

}  // namespace korvel::recording
