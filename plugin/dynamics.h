#pragma once

/// Mass matrix, jacobian of the partial centre of mass, inverse dynamics and their results.

#include "metapod/algos/crba.h"
#include "metapod/algos/partial_com_jacobian.h"
#include "metapod/algos/rnea.h"
#include "plugin/metapod_rigid_body_system.h"

namespace tesk {

template <typename Model>
[[gnu::flatten]] void MetapodRigidBodySystem<Model>::computeGeneralizedMass() noexcept {
  using namespace metapod::internal;
  float* H = generalizedMass_.data();
  depth_first_traversal_internal<metapod::crba<Model, false>::template DftVisitor, Model, root>::run(robot_, H);
}

template <typename Model>
[[gnu::flatten]] void MetapodRigidBodySystem<Model>::computePartialComJacobian(unsigned long b, ComJacobian& J) {
  if (b >= body_count) return;
  // A resize that fails would leave J with freed storage: the new storage is made first.
  if (J.cols() != dof_count) ComJacobian(3, dof_count).swap(J);
  using namespace metapod::internal;
  float* columns = J.data();
  int excluded = static_cast<int>(b);
  depth_first_traversal_internal<metapod::partial_com_jacobian<Model>::template DftVisitor, Model, root>::run(
      robot_, columns, excluded);
}

template <typename Model>
[[gnu::flatten]] void MetapodRigidBodySystem<Model>::computeInverseDynamics() noexcept {
  using namespace metapod::internal;
  const float* q = q_.data();
  angles_.take_joints(q);
  const float* dq = dq_.data();
  const float* ddq = ddq_.data();
  float* torques = torques_.data();
  depth_first_traversal_internal<JcalcVisitor, Model, root>::run(robot_, q, angles_, dq);
  depth_first_traversal_internal<metapod::rnea<Model, false>::template DftVisitor, Model, root>::run(robot_, ddq, fext_,
                                                                                                     torques);
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
