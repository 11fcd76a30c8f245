#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "contact/phases.h"
#include "contact/required_wrench.h"
#include "contact/stance.h"
#include "host/run/ground.h"
#include "motion/trajectory.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// The stance of a robot at one instant of a motion.
struct Standing {
  contact::Stance stance;
  std::vector<contact::SoleState> soles;
  Eigen::Isometry3d root;          ///< in the world
  contact::Wrench required_world;  ///< that the motion requires, about the root's origin

  /// A point of the stance, which has it from the root's origin, in the world.
  Eigen::Vector2d in_world(const Eigen::Vector2d& point) const { return root.translation().head<2>() + point; }
};

/// The control cycle of a robot on the ground. One for each robot.
class GroundCycle {
 public:
  /// `ground` outlives it. Clones `system` for mass matrices at other positions than that one has.
  GroundCycle(const Ground& ground, const tesk::RigidBodySystem& system);

  /// Gives the state to the robot, computes its kinematics, what the ground has to give for the motion, and inverse
  /// dynamics with that: the torques are those of a robot that stands, as far as the ground bears it. Wrenches on the
  /// bodies with soles are set, and stay. `shares` of each sole in the load, of which it takes the
  /// `sample`.
  Standing run(tesk::RigidBodySystem& system, const Instant& state, const std::vector<std::vector<double>>& shares,
               std::size_t sample);

  /// Takes the wrenches off the bodies with soles.
  void unload(tesk::RigidBodySystem& system) const;

 private:
  /// Root axes, about the root's origin.
  contact::Wrench required(const Instant& state, const Eigen::Isometry3d& root);

  const Ground& ground_;
  double weight_;           // [N]
  std::vector<int> limbs_;  // of each joint
  std::unique_ptr<tesk::RigidBodySystem> matrices_;
  // Kept, because a sample asks for many of both.
  Eigen::ArrayXf angles_;
  contact::RootRows rows_;
};

/// The shares of each sole in the load over a motion, by its contact: as `given` by the names of bodies, else as its
/// lowest corner is near the ground and slow. Leaves `system` in the last state of the motion.
std::vector<std::vector<double>> contact_shares(const Trajectory& trajectory, const Ground& ground,
                                                const std::map<std::string, std::vector<bool>>& given,
                                                tesk::RigidBodySystem& system);

}  // namespace korvel::host
