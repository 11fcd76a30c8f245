#pragma once

#include <array>
#include <string>

#include "bench/instants.h"
#include "plugin/rigid_body_system.h"

namespace korvel::bench {

/// Something that a host asks of a robot: one computation, or a few with their setters.
struct Job {
  const char* name;
  const char* calls;  ///< of the interface
  /// Once with each state.
  void (*pass)(tesk::RigidBodySystem& robot, const LoadedInstants& states);
};

/// Jobs that the peers can do too.
inline constexpr const char* kinematics = "kinematics";
inline constexpr const char* mass_from_angles = "mass-from-angles";
inline constexpr const char* dynamics = "dynamics";
/// The job that a controller does in every cycle.
inline constexpr const char* cycle = "cycle";

extern const std::array<Job, 8> jobs;

/// Sets the inputs that the jobs on joints do not set.
void set_root_and_wrenches(tesk::RigidBodySystem& robot, const LoadedInstant& state);

/// Sets the inputs and computes the results that jobs read.
void prepare(tesk::RigidBodySystem& robot, const LoadedInstant& state);

/// Computes what the peers compute too.
void compute_kinematics(tesk::RigidBodySystem& robot, const LoadedInstant& state);
void compute_mass_from_angles(tesk::RigidBodySystem& robot, const LoadedInstant& state);
void compute_dynamics(tesk::RigidBodySystem& robot, const LoadedInstant& state);

/// The job with this name, or null.
const Job* find_job(const std::string& name);

}  // namespace korvel::bench
