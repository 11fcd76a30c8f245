#include "host/replay/recorded_samples.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "host/robot/frames.h"

namespace korvel::host {

namespace {

std::vector<float> values(const tesk::FloatRange& range) { return {range.begin(), range.end()}; }

}  // namespace

RecordedSamples::RecordedSamples(const RecordingFile& recording, std::uint32_t object, const Module& module,
                                 double from, Take take)
    : object_(object),
      from_(from),
      take_(std::move(take)),
      start_(recording.header().start.unix_ns),
      motion_(recording, object),
      player_(recording, module) {}

void RecordedSamples::add(const RecordedCall& call) {
  player_.play(call, false);
  if (motion_.add(call)) {
    end();
    if (call.time >= from_) last_ = sample(call.time);
  }
  const bool has_torques = call.header.object == object_ && call.has_returned() &&
                           call.operation.operation == recording::Operation::computeInverseDynamics;
  if (!last_ || !has_torques) return;
  // Hosts set velocities before or after they compute where the bodies are.
  const tesk::RigidBodySystem& robot = player_.robot(object_);
  last_->velocities = values(robot.getJointAnglesVel());
  last_->torques = values(robot.getJointAnglesTorque());
}

RecordedSamples::Sample RecordedSamples::sample(double time) const {
  // Of another one, for the host may have computed less, or stored poses of its own.
  const System robot = player_.copy(object_);
  robot->computeFwdKinematics();
  Sample sample{start_ + std::llround(time * 1e9),
                values(robot->getJointAnglesPos()),
                values(robot->getJointAnglesVel()),
                {},
                {}};
  sample.torques.assign(sample.positions.size(), std::numeric_limits<float>::quiet_NaN());
  const QZ::Math::Position3D& com = robot->getComPosition();
  sample.places = fmt::format("{},{},{}", com.x, com.y, com.z);
  for (unsigned long b = 0; b < robot->getNbBodies(); ++b) {
    const QZ::Math::Transform& pose = robot->getPose(b);
    const Eigen::Quaterniond q = orientation(pose);
    sample.places +=
        fmt::format(",{},{},{},{:.9g},{:.9g},{:.9g},{:.9g}", pose.tx, pose.ty, pose.tz, q.x(), q.y(), q.z(), q.w());
  }
  return sample;
}

void RecordedSamples::end() {
  if (!last_) return;
  take_(fmt::format("{},{},{},{},{}\n", last_->time, fmt::join(last_->positions, ","),
                    fmt::join(last_->velocities, ","), fmt::join(last_->torques, ","), last_->places));
  ++count_;
  last_.reset();
}

}  // namespace korvel::host
