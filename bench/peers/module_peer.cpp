#include "bench/peers/module_peer.h"

#include "bench/jobs.h"

namespace korvel::bench {

void ModulePeer::set_root_and_wrenches(std::size_t state) { bench::set_root_and_wrenches(*robot_, states_[state]); }

void ModulePeer::compute_kinematics(std::size_t state) { bench::compute_kinematics(*robot_, states_[state]); }

void ModulePeer::compute_mass(std::size_t state) { bench::compute_mass_from_angles(*robot_, states_[state]); }

void ModulePeer::compute_dynamics(std::size_t state) { bench::compute_dynamics(*robot_, states_[state]); }

std::vector<Peer::Pose> ModulePeer::poses() const {
  std::vector<Pose> poses;
  for (unsigned long b = 0; b < robot_->getNbBodies(); ++b) poses.push_back(to_matrix(robot_->getPose(b)));
  return poses;
}

Eigen::Vector3d ModulePeer::com() const {
  const QZ::Math::Position3D& com = robot_->getComPosition();
  return Eigen::Vector3f(com.x, com.y, com.z).cast<double>();
}

Eigen::MatrixXd ModulePeer::jacobian() const {
  const auto& jacobian = robot_->getJacobianInRoot();
  return jacobian.rightCols(jacobian.cols() - 6).cast<double>();
}

std::vector<double> ModulePeer::masses() const {
  std::vector<double> masses;
  for (unsigned long b = 0; b < robot_->getNbBodies(); ++b) masses.push_back(static_cast<double>(robot_->getMass(b)));
  return masses;
}

Eigen::VectorXd ModulePeer::torques() const {
  const tesk::FloatRange torques = robot_->getJointAnglesTorque();
  return Eigen::Map<const Eigen::VectorXf>(torques.first, static_cast<Eigen::Index>(torques.size())).cast<double>();
}

}  // namespace korvel::bench
