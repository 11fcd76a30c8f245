#pragma once

#include <array>
#include <string>

#include "bench/states.h"
#include "plugin/rigid_body_system.h"

namespace korvel::bench {

/// Something that a host asks of a robot: one computation, or a few with their setters.
struct Operation {
  const char* name;
  const char* calls;  ///< of the interface
  /// Once with each state.
  void (*pass)(tesk::RigidBodySystem& robot, const States& states);
};

/// Those that the peers can do too.
inline constexpr const char* kinematics = "kinematics";
inline constexpr const char* mass_from_angles = "mass-from-angles";
inline constexpr const char* dynamics = "dynamics";
/// What a controller asks in every cycle.
inline constexpr const char* cycle = "cycle";

extern const std::array<Operation, 8> operations;

/// What the operations on joints find already set.
void setRootAndWrenches(tesk::RigidBodySystem& robot, const State& state);

/// What is asked of the peers too.
void computeKinematics(tesk::RigidBodySystem& robot, const State& state);
void computeMassFromAngles(tesk::RigidBodySystem& robot, const State& state);
void computeDynamics(tesk::RigidBodySystem& robot, const State& state);

/// The operation with this name, or null.
const Operation* findOperation(const std::string& name);

}  // namespace korvel::bench
