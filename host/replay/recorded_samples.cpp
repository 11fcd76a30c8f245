#include "host/replay/recorded_samples.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/robot/frames.h"

namespace korvel::host {

RecordedSamples::RecordedSamples(const RecordingFile& recording, std::uint32_t object, const Module& module,
                                 double from, Take take)
    : object_(object), from_(from), take_(std::move(take)), motion_(recording, object), player_(recording, module) {}

void RecordedSamples::add(const RecordedCall& call) {
  player_.play(call, false);
  if (motion_.add(call)) {
    end();
    if (call.time >= from_) last_ = sample(call.time, false);
  }
  // Hosts set rates and wrenches before or after they compute where the bodies are.
  const bool has_torques = call.header.object == object_ && call.has_returned() &&
                           call.operation.operation == recording::Operation::computeInverseDynamics;
  if (last_ && has_torques) last_ = sample(last_->time, true);
}

RecordedSample RecordedSamples::sample(double time, bool has_torques) const {
  // Of another one, for the host may have computed less, or stored poses of its own.
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

std::string line_of_numbers(const RecordedSample& sample, std::int64_t start) {
  const tesk::RigidBodySystem& robot = *sample.robot;
  const auto in_words = [](const tesk::FloatRange& range) { return fmt::format("{}", fmt::join(range, ",")); };
  std::vector<float> torques(robot.getNbJointAngles(), std::numeric_limits<float>::quiet_NaN());
  if (sample.has_torques) {
    const tesk::FloatRange computed = robot.getJointAnglesTorque();
    std::copy(computed.begin(), computed.end(), torques.begin());
  }
  const QZ::Math::Position3D& com = robot.getComPosition();
  // Whatever a file says of its beginning.
  const auto time = static_cast<std::int64_t>(static_cast<std::uint64_t>(start) +
                                              static_cast<std::uint64_t>(std::llround(sample.time * 1e9)));
  std::string line = fmt::format("{},{},{},{},{},{},{}", time, in_words(robot.getJointAnglesPos()),
                                 in_words(robot.getJointAnglesVel()), fmt::join(torques, ","), com.x, com.y, com.z);
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) {
    const QZ::Math::Transform& pose = robot.getPose(b);
    const Eigen::Quaterniond q = orientation(pose);
    line += fmt::format(",{},{},{},{:.9g},{:.9g},{:.9g},{:.9g}", pose.tx, pose.ty, pose.tz, q.x(), q.y(), q.z(), q.w());
  }
  return line + '\n';
}

}  // namespace korvel::host
