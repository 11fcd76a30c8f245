#include "recorder/replay/recorded_motion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "host/robot/frames.h"

namespace korvel::host {

std::string RecordedMotion::header(const RecordingFile& recording) {
  return fmt::format("time,x,y,z,qw,qx,qy,qz,{}\n", fmt::join(recording.joints(), ","));
}

std::string RecordedMotion::row() const {
  const Eigen::Quaterniond q = orientation(root_);
  return fmt::format("{:.9f},{},{},{},{:.9g},{:.9g},{:.9g},{:.9g},{}\n", time_, root_.tx, root_.ty, root_.tz, q.w(),
                     q.x(), q.y(), q.z(), fmt::join(joints_, ","));
}

RecordedMotion::Row RecordedMotion::add(const RecordedCall& call) {
  if (call.header.object != object_ || call.has(recording::incomplete_inputs) || !call.has_returned()) {
    return Row::unchanged;
  }
  const auto set = [](bool& has_moved, auto* held, const char* values, std::size_t size) {
    has_moved = has_moved || std::memcmp(held, values, size) != 0;
    std::memcpy(held, values, size);
    return Row::unchanged;
  };
  if (call.is<&Interface::setRootPose>()) return set(root_has_moved_, &root_, call.arguments, sizeof(root_));
  if (call.is<&Interface::setJointAnglesPos>()) {
    return set(joints_have_moved_, joints_.data(), call.arguments, joints_.size() * sizeof(float));
  }
  if (call.is<&Interface::setJointAnglePos>() && call.index() < joints_.size()) {
    return set(joints_have_moved_, &joints_[call.index()], call.arguments + sizeof(std::uint64_t), sizeof(float));
  }
  if (call.operation.stages.empty()) return Row::unchanged;
  constexpr Resources of_root{Resource::poses, Resource::torques};
  constexpr Resources results = of_root | Resources{Resource::in_root, Resource::mass_matrix};
  const Resources computes = call.operation.writes & results;
  // Poses relative to the root do not depend on where it is: hosts often find its pose by them.
  const bool has_moved = joints_have_moved_ || (root_has_moved_ && computed_.meets(of_root));
  const bool begins = computed_.empty() || has_moved || computed_.meets(computes);
  // Time increases in a motion file, which has nanoseconds.
  constexpr double shortest_step = 1e-9;
  if (begins) {
    time_ = std::max(call.time, time_ + shortest_step);
  } else if (computes.has(Resource::torques)) {
    time_ = std::max(call.time, time_);
  }
  computed_ = begins ? computes : computed_ | computes;
  root_has_moved_ = joints_have_moved_ = false;
  return begins ? Row::begun : Row::extended;
}

RecordedSamples::RecordedSamples(const RecordingFile& recording, std::uint32_t object, const Module& module,
                                 double from, Take take)
    : object_(object), from_(from), take_(std::move(take)), motion_(recording, object), player_(recording, module) {}

void RecordedSamples::add(const RecordedCall& call) {
  player_.play(call, false);
  const RecordedMotion::Row row = motion_.add(call);
  if (row == RecordedMotion::Row::unchanged) return;
  if (row == RecordedMotion::Row::begun) end();
  // Hosts set rates and wrenches before or after they compute where the bodies are: those of the dynamics count.
  const bool has_torques = call.is<&Interface::computeInverseDynamics>();
  if (motion_.time() >= from_ && (has_torques || !last_ || !last_->has_torques)) {
    last_ = sample(motion_.time(), has_torques);
  }
}

RecordedSample RecordedSamples::sample(double time, bool has_torques) const {
  // Results come from another object: the host may have computed less, or stored poses of its own.
  RecordedSample sample{time, player_.copy(object_), has_torques};
  sample.robot->computeFwdKinematics();
  sample.robot->computeInverseDynamics();
  return sample;
}

void RecordedSamples::end() {
  if (!last_) return;
  take_(*last_);
  ++count_;
  last_.reset();
}

}  // namespace korvel::host
