#include "host/run/contact_shares.h"

#include <Eigen/Geometry>

#include "host/robot/frames.h"
#include "host/robot/module.h"
#include "motion/cycle.h"

namespace korvel::host {

namespace {

using Eigen::Vector3d;

/// How a body moves: angular velocity [rad/s], and linear velocity of its point at the origin of the axes in which both
/// are given [m/s].
struct BodyMotion {
  Eigen::Vector3d angular, linear;

  /// With a joint that carries the body: its rate, and its column of a jacobian, angular rows first.
  void add(double rate, const Eigen::Matrix<double, 6, 1>& column) {
    angular += rate * column.head<3>();
    linear += rate * column.tail<3>();
  }

  /// Velocity of the body's point that is now at `point` [m/s].
  Eigen::Vector3d of_point(const Eigen::Vector3d& point) const { return linear + angular.cross(point); }
};

/// In the world, told in the root: by the columns of the jacobian of the joints between the root and the body.
BodyMotion motion_of(const tesk::RigidBodySystem& system, const Instant& state, unsigned long body) {
  const Eigen::Matrix<double, 6, 1> root = vector(state.root.velocity);
  BodyMotion motion{root.tail<3>(), root.head<3>()};
  const auto parents = guarded(system, "getParentsVector", [&] { return system.getParentsVector(); });
  const auto coordinates = guarded(system, "getDofIndexesVector", [&] { return system.getDofIndexesVector(); });
  for (unsigned long b = body; b > 0; b = static_cast<unsigned long>(parents[b])) {
    const auto rate = static_cast<double>(state.joint_vel[static_cast<Eigen::Index>(b) - 1]);
    motion.add(rate, system.getJacobianInRoot().col(static_cast<Eigen::Index>(coordinates[b])).cast<double>());
  }
  return motion;
}

bool is_near_ground(const tesk::RigidBodySystem& system, const Instant& state, const contact::Sole& sole,
                    const Ground& ground) {
  const Eigen::Isometry3d root = isometry(state.root.pose);
  const Eigen::Isometry3d pose = isometry(system.getPoseInRoot(sole.body()));
  const Vector3d lowest = pose * sole.lowest_corner_body(root * pose);
  return ground.bounds.allow((root * lowest).z() - ground.height,
                             motion_of(system, state, sole.body()).of_point(lowest).norm());
}

}  // namespace

std::vector<std::vector<double>> contact_shares(const Trajectory& trajectory, const Ground& ground,
                                                const std::map<std::string, std::vector<bool>>& given,
                                                tesk::RigidBodySystem& system) {
  const std::vector<double> time(trajectory.time().begin(), trajectory.time().end());
  std::vector<std::vector<bool>> near(ground.soles.size());
  for (Eigen::Index s = 0; s < trajectory.size(); ++s) {
    const Instant state = trajectory.at(s);
    set_state(system, state);
    system.computeFwdKinematicsExceptRoot();
    for (std::size_t i = 0; i < near.size(); ++i) {
      near[i].push_back(is_near_ground(system, state, ground.soles[i], ground));
    }
  }
  std::vector<std::vector<double>> shares;
  for (std::size_t i = 0; i < near.size(); ++i) {
    const auto known = given.find(system.getBodyName(ground.soles[i].body()));
    shares.push_back(contact::contact_shares(
        time, known != given.end() ? known->second : contact::steadied(time, near[i], ground.bounds.duration)));
  }
  return shares;
}

}  // namespace korvel::host
