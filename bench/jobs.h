#pragma once

#include <array>
#include <iterator>
#include <string>
#include <vector>

#include "metapod/models/korvel/robot.h"
#include "motion/trajectory.h"
#include "plugin/rigid_body_system.h"

namespace korvel::bench {

inline constexpr std::size_t joint_count = std::size(metapod::models::KorvelRobot::bodies) - 1;

/// The bodies that stand on the ground.
inline constexpr std::array<std::size_t, 2> feet{13, 19};

/// The inputs of one call of anything that is measured.
struct LoadedInstant : host::Instant {
  /// The wrench on each of `feet`: force [N], then moment about the origin of the body [N m], in its frame.
  std::array<std::vector<float>, 2> wrenches;
  /// The body that partial centres of mass leave out: every one but the root in turn.
  unsigned long body;
};

using LoadedInstants = std::vector<LoadedInstant>;

/// LoadedInstants, the same at every call, few of them the first of many: joints and root within one radian and one
/// metre, rates of that size, the weight of some kilograms on each foot.
LoadedInstants seeded_instants(std::size_t count = 256);

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
