#pragma once

#include <array>
#include <string>
#include <vector>

#include "contract/states.h"

namespace korvel {

/// Arguments of the operations, made beforehand so that a call allocates nothing.
struct Arguments {
  Arguments(const State& state, const tesk::RigidBodySystem& robot);

  QZ::Math::Transform pose;
  QZ::Math::Velocity6D velocity, acceleration;
  std::array<Eigen::ArrayXf, 3> joints;  ///< positions, velocities, accelerations
  std::vector<std::vector<float>> wrenches;
  std::vector<float> masses;
  tesk::RigidBodySystem::ComJacobian jacobian;  ///< of the right size
  QZ::Math::Position3D com{0.01F, -0.02F, 0.03F};
  Eigen::Matrix3f inertia = Eigen::Vector3f(0.001F, 0.002F, 0.0015F).asDiagonal();
  std::string joint_name, body_name;
};

/// An operation as a control cycle calls it.
struct RealTimeOperation {
  const char* name;
  void (*call)(tesk::RigidBodySystem& robot, Arguments& with);  ///< with each index in turn
};

/// Returns every operation that a control cycle may call, in this order: setters, computations,
/// getters. `computePartialComJacobian` is among them with a jacobian of the right size, the searches with names that
/// exist.
const std::vector<RealTimeOperation>& real_time_operations();

/// An operation that may take memory and throw, called so that it does: a search for a name that does not exist, a
/// jacobian that has another size.
struct AllocatingOperation {
  const char* name;
  void (*call)(tesk::RigidBodySystem& robot, tesk::RigidBodySystem::ComJacobian& J);
};
const std::vector<AllocatingOperation>& allocating_operations();

/// Returns a robot at rest, one at the pole of the root's angles, one that hardly moves (denormal numbers), and lively
/// ones.
std::vector<State> varied_states(std::uint64_t seed, std::size_t lively, const RobotSize& size);
std::vector<Arguments> varied_arguments(const tesk::RigidBodySystem& robot, std::uint64_t seed, std::size_t lively);

}  // namespace korvel
