#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "recording/operations.h"

namespace korvel::record {

/// The arguments with which an input was last set, as they stand in a record.
struct Input {
  static constexpr std::uint16_t never = 0xffff;
  static constexpr std::size_t most_bytes = 88;  ///< but for the joints

  std::uint16_t operation = never;
  std::uint16_t size = 0;
  char arguments[most_bytes];

  void keep(recording::Operation setter, const char* its_arguments, std::size_t bytes) noexcept {
    operation = static_cast<std::uint16_t>(setter);
    size = static_cast<std::uint16_t>(bytes);
    std::memcpy(arguments, its_arguments, bytes);
  }
};

/// All inputs of an object as they are now. Every block begins with them: what comes before it may be lost.
class Inputs {
 public:
  explicit Inputs(const RobotSize& size);

  /// A call of an operation that may be a setter.
  void keep(recording::Operation operation, const char* arguments, std::size_t bytes) noexcept;

  /// Calls `restate(operation, arguments, bytes)` for every input that was ever set.
  template <typename Restate>
  void for_each(const Restate& restate) const {
    for (const Input& input : values_) {
      if (input.operation != Input::never) {
        restate(static_cast<recording::Operation>(input.operation), input.arguments, std::size_t{input.size});
      }
    }
    for (std::size_t derivative = 0; derivative < 3; ++derivative) {
      const Joints& joints = joints_[derivative];
      if (!joints.ever) continue;
      restate(static_cast<recording::Operation>(static_cast<std::size_t>(recording::Operation::setJointAnglesPos) +
                                                derivative),
              reinterpret_cast<const char*>(joints.values.data()), joints.values.size() * sizeof(float));
    }
  }

 private:
  struct Joints {
    bool ever = false;
    std::vector<float> values;
  };

  static constexpr std::size_t of_the_root = 3;
  /// Of the joints, by which of three operations that follow one another.
  static constexpr std::size_t derivative(recording::Operation first, recording::Operation operation) {
    return static_cast<std::size_t>(operation) - static_cast<std::size_t>(first);
  }

  std::size_t bodies_, frames_;
  std::vector<Input> values_;  ///< pose, velocity, acceleration of the root; volatile frames; wrenches
  Joints joints_[3];
};

// Here, for who calls it knows the operation when it is compiled, and most are no setters.
inline void Inputs::keep(recording::Operation operation, const char* arguments, std::size_t bytes) noexcept {
  using recording::Operation;
  std::uint64_t index = 0;
  switch (operation) {
    case Operation::setRootPose:
      return values_[0].keep(operation, arguments, bytes);
    case Operation::setRootVelocity:
      return values_[1].keep(operation, arguments, bytes);
    case Operation::setRootAcceleration:
      return values_[2].keep(operation, arguments, bytes);
    case Operation::setVolatilePose:
      std::memcpy(&index, arguments, sizeof(index));
      if (index < frames_) values_[of_the_root + index].keep(operation, arguments, bytes);
      return;
    case Operation::setExternalWrench:
    case Operation::setExternalWrenchInFrame:
      std::memcpy(&index, arguments, sizeof(index));
      if (index < bodies_) values_[of_the_root + frames_ + index].keep(operation, arguments, bytes);
      return;
    case Operation::setJointAnglesPos:
    case Operation::setJointAnglesVel:
    case Operation::setJointAnglesAcc: {
      Joints& joints = joints_[derivative(Operation::setJointAnglesPos, operation)];
      joints.ever = true;
      std::memcpy(joints.values.data(), arguments, bytes);
      return;
    }
    case Operation::setJointAnglePos:
    case Operation::setJointAngleVel:
    case Operation::setJointAngleAcc: {
      Joints& joints = joints_[derivative(Operation::setJointAnglePos, operation)];
      std::memcpy(&index, arguments, sizeof(index));
      if (index >= joints.values.size()) return;
      joints.ever = true;
      std::memcpy(&joints.values[index], arguments + sizeof(index), sizeof(float));
      return;
    }
    default:
      return;
  }
}

}  // namespace korvel::record
