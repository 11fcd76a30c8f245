#include "host/ground/ground_cycle.h"

#include "contact/required_wrench.h"
#include "host/motion/cycle.h"
#include "host/robot/frames.h"

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
    : ground_(ground), weight_(weight_of(system)), matrices_(system.clone()) {}

contact::Wrench GroundCycle::required(const Instant& state, const Eigen::Isometry3d& root) {
  const contact::GeneralizedMotion motion{
      state.joint_pos.cast<double>(), coordinates(state.root.velocity, state.joint_vel),
      coordinates(state.root.acceleration, state.joint_acc), -contact::gravity * root.linear().row(2).transpose()};
  return contact::required_wrench(motion, [this](const Eigen::VectorXd& angles) -> contact::RootRows {
    matrices_->setJointAnglesPos(angles.cast<float>().array());
    matrices_->computeFwdKinematicsExceptRoot();
    matrices_->computeGeneralizedMass();
    return matrices_->getGeneralizedMass().topRows<6>().cast<double>();
  });
}

Standing GroundCycle::run(tesk::RigidBodySystem& system, const Instant& state,
                          const std::vector<contact::ContactPhases>& phases, std::size_t sample) {
  set_state(system, state);
  system.computeFwdKinematics();

  // From here on positions are told from the root's origin, so that no digits are lost to the place in the world.
  const Eigen::Isometry3d root = contact::rigid(isometry(state.root.pose));
  const Eigen::Matrix3d& to_world = root.linear();
  Standing standing{{}, {}, root};
  for (std::size_t i = 0; i < ground_.soles.size(); ++i) {
    const Eigen::Isometry3d pose = to_world * isometry(system.getPoseInRoot(ground_.soles[i].body()));
    standing.soles.push_back({pose, phases[i].contact(sample), phases[i].share(sample)});
  }
  standing.stance = contact::stance(ground_.soles, standing.soles, contact::rotated(to_world, required(state, root)),
                                    ground_.height - root.translation().z(),
                                    to_world * vector(system.getComPositionInRoot()), weight_, ground_.bounds.height);

  for (std::size_t i = 0; i < ground_.soles.size(); ++i) {
    const Eigen::Matrix3d to_body = standing.soles[i].pose.linear().transpose();
    system.setExternalWrench(ground_.soles[i].body(),
                             as_interface_has_it(contact::rotated(to_body, standing.stance.soles[i].wrench)));
  }
  system.computeInverseDynamics();
  return standing;
}

}  // namespace korvel::host
