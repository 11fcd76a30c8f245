#pragma once

/// Mass matrix, jacobian of the partial centre of mass, inverse dynamics and their results.

#include "metapod/algos/crba.h"
#include "metapod/algos/partial_com_jacobian.h"
#include "metapod/algos/rnea.h"
#include "plugin/metapod_rigid_body_system.h"

namespace tesk {

template <typename Model>
[[gnu::flatten]] void MetapodRigidBodySystem<Model>::computeGeneralizedMass() noexcept {
  metapod::crba<Model, metapod::after_jcalc>::run(robot_, generalizedMass_.data());
}

template <typename Model>
[[gnu::flatten]] void MetapodRigidBodySystem<Model>::computePartialComJacobian(unsigned long b, ComJacobian& J) {
  if (b >= body_count) return;
  // A resize that fails would leave J with freed storage: the new storage is made first.
  if (J.cols() != dof_count) ComJacobian(3, dof_count).swap(J);
  metapod::partial_com_jacobian<Model>::run(robot_, J.data(), static_cast<int>(b));
}

template <typename Model>
[[gnu::flatten]] void MetapodRigidBodySystem<Model>::computeInverseDynamics() noexcept {
  update_joints();
  metapod::jcalc_vel<Model>::run(robot_, dq_.data());
  metapod::rnea<Model, metapod::after_jcalc>::run(robot_, ddq_.data(), fext_, torques_.data());
}

template <typename Model>
const Eigen::MatrixXf& MetapodRigidBodySystem<Model>::getGeneralizedMass() const noexcept {
  return generalizedMass_;
}

template <typename Model>
float MetapodRigidBodySystem<Model>::getJointAngleTorque(unsigned long j) const noexcept {
  assert(j < joint_count && "getJointAngleTorque: joint-angle index out of range");
  return torques_(dof(j));
}

template <typename Model>
FloatRange MetapodRigidBodySystem<Model>::getJointAnglesTorque() const noexcept {
  return joint_range(torques_);
}

}  // namespace tesk
