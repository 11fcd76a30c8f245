#include "record/inputs.h"

namespace korvel::record {

using recording::Operation;

namespace {

constexpr std::size_t of_the_root = 3;

std::size_t offset_from(Operation first, Operation operation) {
  return static_cast<std::size_t>(operation) - static_cast<std::size_t>(first);
}

}  // namespace

Inputs::Inputs(const RobotSize& size)
    : bodies_(static_cast<std::size_t>(size.bodies)),
      frames_(static_cast<std::size_t>(size.volatile_frames)),
      values_(of_the_root + frames_ + bodies_) {
  for (Joints& joints : joints_) joints.values.resize(static_cast<std::size_t>(size.joints));
}

void Inputs::keep(Operation operation, const char* arguments, std::size_t bytes) noexcept {
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
      Joints& joints = joints_[offset_from(Operation::setJointAnglesPos, operation)];
      joints.ever = true;
      std::memcpy(joints.values.data(), arguments, bytes);
      return;
    }
    case Operation::setJointAnglePos:
    case Operation::setJointAngleVel:
    case Operation::setJointAngleAcc: {
      Joints& joints = joints_[offset_from(Operation::setJointAnglePos, operation)];
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
