#include "host/ground/contact_phases.h"

#include <Eigen/Geometry>
#include <utility>

#include "contact/body_motion.h"
#include "host/motion/cycle.h"
#include "host/robot/frames.h"

namespace korvel::host {

namespace {

using Eigen::Vector3d;

/// In the world, told in the root: by the columns of the jacobian of the joints between the root and the body.
contact::BodyMotion motion_of(const tesk::RigidBodySystem& system, const Instant& state, unsigned long body) {
  const Eigen::Matrix<double, 6, 1> root = vector(state.root.velocity);
  contact::BodyMotion motion{root.tail<3>(), root.head<3>()};
  const auto parents = system.getParentsVector();
  const auto coordinates = system.getDofIndexesVector();
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
  const Vector3d lowest = pose * sole.lowest_corner(root * pose);
  return ground.bounds.allow((root * lowest).z() - ground.height,
                             motion_of(system, state, sole.body()).of_point(lowest).norm());
}

}  // namespace

std::vector<contact::ContactPhases> contact_phases(const Trajectory& trajectory, const Ground& ground,
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
  std::vector<contact::ContactPhases> phases;
  for (std::size_t i = 0; i < near.size(); ++i) {
    const auto known = given.find(system.getBodyName(ground.soles[i].body()));
    phases.push_back(known != given.end()
                         ? contact::ContactPhases::given(time, known->second)
                         : contact::ContactPhases::detected(time, std::move(near[i]), ground.bounds.duration));
  }
  return phases;
}

}  // namespace korvel::host
