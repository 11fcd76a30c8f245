#include "recorder/replay/recorded_motion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "host/robot/frames.h"
#include "motion/csv/csv_reader.h"

namespace korvel::host {

namespace {

/// Objects share inertias, so that a call of any changes those of all.
bool changes_inertias(const RecordedCall& call) {
  return call.operation.writes.has(Resource::inertias) && !call.has(recording::restated);
}

bool sets_wrench(const RecordedCall& call) { return call.operation.writes.has(Resource::wrenches); }

/// The wrench that a call sets, about the origin of its body in the axes of it.
Eigen::Matrix<double, 6, 1> wrench_of(const RecordedCall& call) {
  const char* at = call.arguments + sizeof(std::uint64_t);
  Eigen::Matrix<double, 6, 1> wrench = vector(recording::take<QZ::Math::Velocity6D>(at, 0));
  if (!call.is<wrench_in_frame>()) return wrench;
  const auto frame = isometry(recording::take<QZ::Math::Transform>(at + sizeof(float) * 6, 0));
  const Eigen::Vector3d force = frame.linear() * wrench.head<3>();
  wrench << force, frame.linear() * wrench.tail<3>() + frame.translation().cross(force);
  return wrench;
}

}  // namespace

std::string RecordedMotion::header(const RecordingFile& recording) {
  return fmt::format("time,x,y,z,qw,qx,qy,qz,{}\n", fmt::join(recording.joints(), ","));
}

std::string RecordedMotion::row() const {
  std::string text = fmt::format("{:.9f}", time_);
  const auto add = [&](float number) {
    text += ',';
    append_number(text, number);
  };
  const Eigen::Quaterniond q = orientation(root_);
  for (const float number : {root_.tx, root_.ty, root_.tz}) add(number);
  for (const double number : {q.w(), q.x(), q.y(), q.z()}) add(static_cast<float>(number));
  for (const float number : joints_) add(number);
  return text + '\n';
}

RecordedMotion::Row RecordedMotion::add(const RecordedCall& call) {
  if (changes_inertias(call)) joints_have_moved_ = true;
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
                                 const Window& window, Take take)
    : object_(object),
      size_(recording.size()),
      from_(window.from),
      take_(std::move(take)),
      motion_(recording, object),
      player_(recording, module) {
  find_bodies(recording, window);
}

void RecordedSamples::find_bodies(const RecordingFile& recording, const Window& window) {
  std::set<unsigned long> bodies;
  for_each_call(recording, window, [&](const RecordedCall& call, bool is_within) {
    if (call.header.object != object_ || !sets_wrench(call) || !call.has_valid_index(size_)) return;
    if (!wrench_of(call).isZero(0)) {
      bodies.insert(call.index());
    } else if (!is_within) {
      bodies.erase(call.index());
    }
  });
  for (const unsigned long body : bodies) wrenches_.emplace_back(body, Eigen::Matrix<double, 6, 1>::Zero());
}

void RecordedSamples::keep_inputs(const RecordedCall& call) {
  constexpr Resources of_joints{Resource::positions, Resource::velocities, Resource::accelerations};
  constexpr Resources kept = of_joints | Resources{Resource::root_pose, Resource::root_velocity,
                                                   Resource::root_acceleration, Resource::wrenches, Resource::inertias};
  const Resources sets = call.operation.writes & kept;
  const bool counts = call.header.object == object_ || sets.has(Resource::inertias);
  const bool is_valid = !call.has(recording::incomplete_inputs) && call.has_valid_index(size_);
  if (sets.empty() || !counts || !is_valid || !call.has_returned()) return;
  const auto keep = [&](Resource input, std::uint64_t index, bool is_finite) {
    if (is_finite) {
      set_by_.erase({input, index});
    } else {
      set_by_.try_emplace({input, index}, NamedCall{call.operation.name, call.position()});
    }
  };
  sets.for_each([&](Resource input) {
    const bool sets_all = of_joints.has(input) && call.operation.index == IndexKind::none;
    if (!sets_all) return keep(input, call.index(), call.has_finite_arguments(size_));
    const std::size_t joints = count_of(IndexKind::joint, size_);
    for (std::size_t j = 0; j < joints; ++j) keep(input, j, all_finite(call.arguments + j * sizeof(float), 1));
  });
  if (!sets_wrench(call)) return;
  for (auto& [body, wrench] : wrenches_) {
    if (body == call.index()) wrench = wrench_of(call);
  }
}

void RecordedSamples::add(const RecordedCall& call) {
  // The last sample reads the inertias when it is taken.
  if (changes_inertias(call)) end();
  player_.play(call, false);
  keep_inputs(call);
  const RecordedMotion::Row row = motion_.add(call);
  if (row == RecordedMotion::Row::unchanged) return;
  if (row == RecordedMotion::Row::begun) end();
  // Hosts set rates and wrenches before or after they compute where the bodies are: those of the dynamics count.
  const bool has_torques = call.is<&Interface::computeInverseDynamics>();
  if (motion_.time() >= from_ && (has_torques || !last_ || !last_->has_torques)) last_ = sample(call);
}

RecordedSample RecordedSamples::sample(const RecordedCall& call) const {
  const auto earlier = [](const auto& a, const auto& b) { return a.second.at.time < b.second.at.time; };
  const auto first = std::min_element(set_by_.begin(), set_by_.end(), earlier);
  // Results come from another object: the host may have computed less, or stored poses of its own.
  RecordedSample sample{motion_.time(), player_.copy(object_), call.is<&Interface::computeInverseDynamics>(), wrenches_,
                        first != set_by_.end() ? first->second : NamedCall{call.operation.name, call.position()}};
  sample.robot->computeFwdKinematics();
  sample.robot->computeInverseDynamics();
  for (auto& [body, wrench] : sample.wrenches) {
    const Eigen::Matrix3d to_world = isometry(sample.robot->getPose(body)).linear();
    wrench << to_world * wrench.head<3>(), to_world * wrench.tail<3>();
  }
  return sample;
}

void RecordedSamples::end() {
  if (!last_) return;
  take_(*last_);
  ++count_;
  last_.reset();
}

}  // namespace korvel::host
