#include "contract/shown.h"

#include <algorithm>

namespace korvel {

namespace {

using Robot = tesk::RigidBodySystem;

template <typename Value>
void copy_to(float* to, const Value& value) {
  const std::string_view bytes = bytes_in(value);
  std::copy_n(bytes.data(), bytes.size(), reinterpret_cast<char*>(to));
}

template <auto pose, auto count = &Robot::getNbBodies>
void read_poses(const Robot& robot, float* to) {
  for (unsigned long i = 0; i < (robot.*count)(); ++i, to += 12) copy_to(to, (robot.*pose)(i));
}

template <auto get>
void read(const Robot& robot, float* to) {
  copy_to(to, (robot.*get)());
}

constexpr const QZ::Math::Position3D& (Robot::*com)() const noexcept = &Robot::getComPosition;

}  // namespace

constexpr std::array<ResultEntry, 13> all_results{{
    {Result::poses, "number {0} of the world pose of body {1}", body_count, just<12>, Stage::only_root, 0,
     read_poses<&Robot::getPose>},
    {Result::poses_in_root, "number {0} of the pose in the root of body {1}", body_count, just<12>, Stage::except_root,
     1, read_poses<&Robot::getPoseInRoot>},
    {Result::volatile_poses, "number {0} of the volatile pose", frame_count, just<12>, Stage::none, 0,
     read_poses<&Robot::getVolatilePose, &Robot::getNbVolatileFrames>},
    {Result::com, "number {0} of the centre of mass", just<1>, just<3>, Stage::only_root, 0, read<com>},
    {Result::com_in_root, "number {0} of the centre of mass in the root", just<1>, just<3>, Stage::except_root, 0,
     read<&Robot::getComPositionInRoot>},
    {Result::jacobian, "row {0} of column {1} of the jacobian", coordinate_count<1>, just<6>, Stage::except_root,
     root_coordinates, read<&Robot::getJacobianInRoot>},
    {Result::mass_matrix, "row {0} of column {1} of the mass matrix", coordinate_count<1>, coordinate_count<1>,
     Stage::generalized_mass, 0, read<&Robot::getGeneralizedMass>},
    {Result::torques, "the torque of joint angle {1}", joint_count, just<1>, Stage::inverse_dynamics, 0,
     read<&Robot::getJointAnglesTorque>},
    {Result::root_velocity, "number {0} of the root velocity", just<1>, just<6>, Stage::none, 0,
     read<&Robot::getRootVelocity>},
    {Result::root_acceleration, "number {0} of the root acceleration", just<1>, just<6>, Stage::none, 0,
     read<&Robot::getRootAcceleration>},
    {Result::positions, "the position of joint angle {1}", joint_count, just<1>, Stage::none, 0,
     read<&Robot::getJointAnglesPos>},
    {Result::velocities, "the velocity of joint angle {1}", joint_count, just<1>, Stage::none, 0,
     read<&Robot::getJointAnglesVel>},
    {Result::accelerations, "the acceleration of joint angle {1}", joint_count, just<1>, Stage::none, 0,
     read<&Robot::getJointAnglesAcc>},
}};

static_assert([] {
  for (std::size_t i = 0; i < all_results.size(); ++i) {
    if (all_results[i].result != static_cast<Result>(i)) return false;
  }
  return true;
}());

int shown_numbers(Stages stages, const RobotSize& size) noexcept {
  int numbers = 0;
  for (const ResultEntry& e : all_results) numbers += stages.has(e.written_by) ? e.numbers(size) : 0;
  return numbers;
}

void read_shown(const Robot& robot, Stages stages, const RobotSize& size, float* to) noexcept {
  for (const ResultEntry& e : all_results) {
    if (!stages.has(e.written_by)) continue;
    e.read(robot, to);
    to += e.numbers(size);
  }
}

std::vector<Result> written_by(Stages stages) {
  std::vector<Result> written;
  for (const ResultEntry& e : all_results) {
    if (stages.has(e.written_by)) written.push_back(e.result);
  }
  return written;
}

Layout::Layout(const RobotSize& size) : size_(size) {
  std::ptrdiff_t first = 0;
  for (const ResultEntry& e : all_results) {
    const std::ptrdiff_t last = first + e.numbers(size);
    stretches_[static_cast<std::size_t>(e.result)] = {first, last};
    first = last;
  }
}

std::vector<Stretch> Layout::written_by(Stages stages) const {
  std::vector<Stretch> written;
  for (const Result result : korvel::written_by(stages)) {
    const auto& [first, last] = (*this)[result];
    written.push_back({first + entry(result).constant_pieces * length(result), last});
  }
  return written;
}

void read_everything(const Robot& robot, std::vector<float>& all) {
  const Layout layout(robot);
  all.resize(static_cast<std::size_t>(layout.size()));
  for (const ResultEntry& e : all_results) e.read(robot, all.data() + layout[e.result].first);
}

std::vector<float> everything_readable(const Robot& robot) {
  std::vector<float> all;
  read_everything(robot, all);
  return all;
}

bool same_bits(const std::vector<float>& a, const std::vector<float>& b) { return bytes_in(a) == bytes_in(b); }

}  // namespace korvel
