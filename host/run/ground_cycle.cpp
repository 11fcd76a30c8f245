#include "host/run/ground_cycle.h"

#include <algorithm>

#include "host/robot/frames.h"
#include "host/robot/module.h"
#include "host/robot/robot.h"
#include "metapod/models/korvel/robot.h"

namespace korvel::host {

namespace {

Eigen::VectorXd coordinates(const QZ::Math::Velocity6D& root, const Eigen::ArrayXf& joints) {
  Eigen::VectorXd all(6 + joints.size());
  all << vector(root), joints.cast<double>().matrix();
  return all;
}

std::vector<float> as_interface_has_it(const contact::Wrench& wrench) {
  const Eigen::Vector3f force = wrench.force.cast<float>();
  const Eigen::Vector3f moment = wrench.moment.cast<float>();
  return {force.x(), force.y(), force.z(), moment.x(), moment.y(), moment.z()};
}

}  // namespace

GroundCycle::GroundCycle(const Ground& ground, const tesk::RigidBodySystem& system)
    : ground_(ground),
      weight_(weight_of(system)),
      limbs_(limbs_of(system)),
      matrices_(guarded(system, "clone", [&] { return system.clone(); })) {}

contact::Wrench GroundCycle::required(const Instant& state, const Eigen::Isometry3d& root) {
  const contact::GeneralizedMotion motion{
      state.joint_pos.cast<double>(), coordinates(state.root.velocity, state.joint_vel),
      coordinates(state.root.acceleration, state.joint_acc), -contact::gravity * root.linear().row(2).transpose()};
  return contact::required_wrench(motion, limbs_, [this](const auto& angles) -> const contact::RootRows& {
    angles_ = angles.template cast<float>();
    matrices_->setJointAnglesPos(angles_);
    matrices_->computeFwdKinematicsExceptRoot();
    matrices_->computeGeneralizedMass();
    rows_ = matrices_->getGeneralizedMass().topRows<6>().cast<double>();
    return rows_;
  });
}

void GroundCycle::unload(tesk::RigidBodySystem& system) const {
  for (const contact::Sole& sole : ground_.soles) system.setExternalWrench(sole.body(), std::vector<float>(6));
}

Standing GroundCycle::run(tesk::RigidBodySystem& system, const Instant& state,
                          const std::vector<std::vector<double>>& shares, std::size_t sample) {
  set_state(system, state);
  system.computeFwdKinematics();

  // Positions are relative to the root's origin from here on, so that precision does not depend on the place in the
  // world.
  Eigen::Isometry3d root = isometry(state.root.pose);
  // The rotation is made orthonormal to the last digit. In single precision the forces would depend on the heading.
  root.linear() = Eigen::Quaterniond(root.linear()).normalized().toRotationMatrix();
  const Eigen::Matrix3d& to_world = root.linear();
  Standing standing{{}, {}, root, contact::rotated(to_world, required(state, root))};
  for (std::size_t i = 0; i < ground_.soles.size(); ++i) {
    const Eigen::Isometry3d pose = to_world * isometry(system.getPoseInRoot(ground_.soles[i].body()));
    standing.soles.push_back({pose, shares[i][sample]});
  }
  standing.stance = contact::stance({ground_.soles, standing.soles, standing.required_world,
                                     to_world * vector(system.getComPositionInRoot()),
                                     ground_.height - root.translation().z(), weight_, ground_.bounds.height});

  for (std::size_t i = 0; i < ground_.soles.size(); ++i) {
    const Eigen::Matrix3d to_body = standing.soles[i].pose_world.linear().transpose();
    system.setExternalWrench(ground_.soles[i].body(),
                             as_interface_has_it(contact::rotated(to_body, standing.stance.soles[i].wrench_world)));
  }
  system.computeInverseDynamics();
  return standing;
}

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

std::vector<contact::Sole> own_soles(const tesk::RigidBodySystem& system) {
  constexpr unsigned long left_foot = 13;
  constexpr unsigned long right_foot = 19;
  constexpr double friction = 0.6;
  constexpr double below_ankle = -0.045, half_width = 0.04, toe = 0.1, heel = -0.05;  // [m], in the foot's axes
  const auto& bodies = metapod::models::KorvelRobot::bodies;
  const std::vector<std::string> names = body_names(system);
  const auto has_name = [](const std::string& name, const auto& body) { return name == body.name; };
  if (!std::equal(names.begin(), names.end(), std::begin(bodies), std::end(bodies), has_name)) return {};
  const std::vector<Eigen::Vector3d> corners{{below_ankle, half_width, toe},
                                             {below_ankle, -half_width, toe},
                                             {below_ankle, -half_width, heel},
                                             {below_ankle, half_width, heel}};
  return {{left_foot, corners, friction}, {right_foot, corners, friction}};
}

}  // namespace korvel::host
