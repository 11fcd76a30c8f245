#include "host/replay/recorded_motion.h"

#include <fmt/format.h>

#include <cstring>

#include "host/robot/frames.h"

namespace korvel::host {

using recording::Operation;

std::string RecordedMotion::header(const RecordingFile& recording) {
  return fmt::format("time,x,y,z,qw,qx,qy,qz,{}\n", fmt::join(recording.joints(), ","));
}

std::string RecordedMotion::row() const {
  const Eigen::Quaterniond q = orientation(root_);
  return fmt::format("{:.9f},{},{},{},{:.9g},{:.9g},{:.9g},{:.9g},{}\n", time_, root_.tx, root_.ty, root_.tz, q.w(),
                     q.x(), q.y(), q.z(), fmt::join(joints_, ","));
}

bool RecordedMotion::add(const RecordedCall& call) {
  if (call.header.object != object_ || call.has(recording::incomplete_inputs) || !call.has_returned()) return false;
  // What is restated is new only where calls were lost.
  const auto set = [&](auto* held, const char* values, std::size_t size) {
    is_new_ = is_new_ || !call.has(recording::restated) || std::memcmp(held, values, size) != 0;
    std::memcpy(held, values, size);
    return false;
  };
  switch (static_cast<Operation>(call.header.operation)) {
    case Operation::setRootPose:
      return set(&root_, call.arguments, sizeof(root_));
    case Operation::setJointAnglesPos:
      return set(joints_.data(), call.arguments, joints_.size() * sizeof(float));
    case Operation::setJointAnglePos:
      return call.index() < joints_.size() && set(&joints_[call.index()], call.arguments + 8, sizeof(float));
    case Operation::computeFwdKinematics:
    case Operation::computeFwdKinematicsExceptRoot:
    case Operation::computeFwdKinematicsOnlyRoot:
    case Operation::computeInverseDynamics:
      break;
    default:
      return false;
  }
  // Time increases in a motion file.
  if (!is_new_ || !(call.time > time_ + 1e-9)) return false;
  is_new_ = false;
  time_ = call.time;
  return true;
}

}  // namespace korvel::host
