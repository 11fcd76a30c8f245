#pragma once

/// Mass matrix, jacobian of the partial centre of mass, inverse dynamics and their results.

#include "metapod/algos/crba.h"
#include "metapod/algos/jcalc.h"
#include "metapod/algos/partial_crba.h"
#include "metapod/algos/rnea.h"
#include "plugin/metapod_rigid_body_system.h"

namespace tesk {

template <typename Model>
void MetapodRigidBodySystem<Model>::computeGeneralizedMass() noexcept {
  using namespace metapod::internal;
  depth_first_traversal_internal<metapod::crba<Model, false>::template DftVisitor, Model, root>::run(robot_,
                                                                                                     generalizedMass_);
}

template <typename Model>
void MetapodRigidBodySystem<Model>::computePartialComJacobian(unsigned long b, ComJacobian& J) {
  if (b >= body_count) return;
  using namespace metapod::internal;
  using Matrix = Eigen::Matrix<float, dof_count, dof_count>;
  Matrix M = Matrix::Zero();
  int excluded = static_cast<int>(b);
  depth_first_traversal_internal<metapod::partial_crba<Model>::template DftVisitor, Model, root>::run(robot_, M,
                                                                                                      excluded);
  // A resize that fails would leave J with freed storage: the new storage is made first.
  if (J.cols() != dof_count) ComJacobian(3, dof_count).swap(J);
  // Rows 0 to 2 of M are the linear momentum of the partial robot along the root's axes; E^T turns them to the world's.
  const auto& E = metapod::node<root>(robot_).iXp.E;
  for (Eigen::Index d = 0; d < dof_count; ++d) {
    const Spatial3 momentum_world = E.applyTransposed({M(0, d), M(1, d), M(2, d)});
    J.col(d) << momentum_world.x, momentum_world.y, momentum_world.z;
  }
}

template <typename Model>
void MetapodRigidBodySystem<Model>::computeInverseDynamics() noexcept {
  using namespace metapod::internal;
  const metapod::Spatial::Force* fext = fext_.data();
  depth_first_traversal_internal<JcalcVisitor, Model, root>::run(robot_, std::as_const(q_), std::as_const(dq_));
  depth_first_traversal_internal<metapod::rnea<Model, false>::template DftVisitor, Model, root>::run(
      robot_, std::as_const(ddq_), fext, torques_);
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
