#include "host/replay/recorded_motion.h"

#include <fmt/format.h>

#include <Eigen/Geometry>
#include <cstring>

namespace korvel::host {

namespace {

using recording::Operation;

/// The rotation nearest to what a pose says, unit whatever its digits are.
Eigen::Quaterniond orientation(const QZ::Math::Transform& T) {
  Eigen::Matrix3f R;
  R << T.r00, T.r01, T.r02, T.r10, T.r11, T.r12, T.r20, T.r21, T.r22;
  Eigen::Affine3d pose = Eigen::Affine3d::Identity();
  pose.linear() = R.cast<double>();
  return Eigen::Quaterniond(pose.rotation()).normalized();
}

}  // namespace

RecordedMotion::RecordedMotion(const RecordingFile& recording, std::uint32_t object, OutputFile& file)
    : object_(object), file_(file), joints_(recording.joints().size()) {
  file_.write(fmt::format("time,x,y,z,qw,qx,qy,qz,{}\n", fmt::join(recording.joints(), ",")));
}

void RecordedMotion::add(const RecordedCall& call) {
  if (call.header.object != object_ || call.has(recording::incomplete_inputs)) return;
  switch (static_cast<Operation>(call.header.operation)) {
    case Operation::setRootPose:
      std::memcpy(&root_, call.arguments, sizeof(root_));
      is_new_ = true;
      return;
    case Operation::setJointAnglesPos:
      std::memcpy(joints_.data(), call.arguments, joints_.size() * sizeof(float));
      is_new_ = true;
      return;
    case Operation::setJointAnglePos:
      if (call.index() < joints_.size()) std::memcpy(&joints_[call.index()], call.arguments + 8, sizeof(float));
      is_new_ = true;
      return;
    case Operation::computeFwdKinematics:
    case Operation::computeFwdKinematicsExceptRoot:
    case Operation::computeInverseDynamics:
      break;
    default:
      return;
  }
  // Time increases in a motion file.
  if (!is_new_ || !(call.time > time_ + 1e-9)) return;
  is_new_ = false;
  time_ = call.time;
  ++rows_;
  const Eigen::Quaterniond q = orientation(root_);
  file_.write(fmt::format("{:.9f},{},{},{},{:.9g},{:.9g},{:.9g},{:.9g},{}\n", time_, root_.tx, root_.ty, root_.tz,
                          q.w(), q.x(), q.y(), q.z(), fmt::join(joints_, ",")));
}

}  // namespace korvel::host
