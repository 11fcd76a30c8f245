#include "host/run/contact_shares.h"

#include <Eigen/Geometry>

#include "host/robot/frames.h"
#include "host/robot/module.h"

namespace korvel::host {

namespace {

using Eigen::Vector3d;

/// The velocity in the world, told in the root, of the body's point that is at `point` [m/s], by the columns of the
/// jacobian of the joints between the root and the body.
Vector3d velocity_of(const tesk::RigidBodySystem& system, const Instant& state, unsigned long body,
                     const Vector3d& point) {
  const Eigen::Matrix<double, 6, 1> root = vector(state.root.velocity);
  Vector3d linear = root.head<3>();
  Vector3d angular = root.tail<3>();
  const auto parents = guarded(system, "getParentsVector", [&] { return system.getParentsVector(); });
  const auto coordinates = guarded(system, "getDofIndexesVector", [&] { return system.getDofIndexesVector(); });
  for (unsigned long b = body; b > 0; b = static_cast<unsigned long>(parents[b])) {
    const Eigen::Matrix<double, 6, 1> column =
        system.getJacobianInRoot().col(static_cast<Eigen::Index>(coordinates[b])).cast<double>();
    const auto rate = static_cast<double>(state.joint_vel[static_cast<Eigen::Index>(b) - 1]);
    angular += rate * column.head<3>();
    linear += rate * column.tail<3>();
  }
  return linear + angular.cross(point);
}

bool is_near_ground(const tesk::RigidBodySystem& system, const Instant& state, const contact::Sole& sole,
                    const Ground& ground) {
  const Eigen::Isometry3d root = isometry(state.root.pose);
  const Eigen::Isometry3d pose = isometry(system.getPoseInRoot(sole.body()));
  const Vector3d lowest = pose * sole.lowest_corner_body(root * pose);
  return ground.bounds.allow((root * lowest).z() - ground.height,
                             velocity_of(system, state, sole.body(), lowest).norm());
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
