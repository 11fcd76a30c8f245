#pragma once

/// Forward kinematics, centres of mass and their results.

#include "metapod/algos/fwd_kin_iX1.h"
#include "metapod/algos/jcalc.h"
#include "metapod/algos/partial_com.h"
#include "plugin/metapod_rigid_body_system.h"

namespace tesk {

/// The centre of mass of a first moment and a mass.
inline QZ::Math::Position3D divided(const metapod::Spatial::Vector3& first_moment, float mass) noexcept {
  const float k = 1 / mass;
  return {first_moment.x * k, first_moment.y * k, first_moment.z * k};
}

template <typename Model>
void MetapodRigidBodySystem<Model>::computeFwdKinematicsExceptRoot() noexcept {
  using namespace metapod::internal;
  depth_first_traversal_internal<JcalcPosVisitor, Model, root>::run(robot_, std::as_const(q_));
  Spatial3 first_moment_root;
  metapod::fwd_kin_iX1<Model>::run(robot_, iX1_.data(), jacobianInRoot_, first_moment_root);
  for (std::size_t b = 1; b < body_count; ++b) invToQZMath(iX1_[b], posesInRoot_[b]);
  comInRoot_ = divided(first_moment_root, mass_);
}

template <typename Model>
void MetapodRigidBodySystem<Model>::computeFwdKinematicsOnlyRoot() noexcept {
  // The root's own step of the joint pass. The other nodes keep the joint angles of the last whole pass.
  metapod::internal::JcalcPosVisitor<Model, root>::discover(robot_, q_);
  const SpatialTransform& worldToRoot = metapod::node<root>(robot_).iXp;
  invToQZMath(worldToRoot, poses_[root]);
  for (std::size_t b = 1; b < body_count; ++b) invProdToQZMath(iX1_[b], worldToRoot, poses_[b]);
  com_ = poses_[root] * comInRoot_;
}

template <typename Model>
QZ::Math::Position3D MetapodRigidBodySystem<Model>::computePartialComPositionInRoot(unsigned long b) noexcept {
  if (b == root || b >= body_count) return com_;
  using namespace metapod::internal;
  Spatial3 first_moment_root = Model::inertias[root].h;
  const SpatialTransform* iX1 = iX1_.data();
  const int excluded = static_cast<int>(b);
  depth_first_traversal_internal<PartialComVisitor, Model, root>::run_below(robot_, iX1, excluded, first_moment_root);
  return divided(first_moment_root, mass_ - Model::inertias[b].m);
}

template <typename Model>
const QZ::Math::Transform& MetapodRigidBodySystem<Model>::getPoseInRoot(unsigned long b) const noexcept {
  assert(b < body_count && "getPoseInRoot: body index out of range");
  return posesInRoot_[b];
}

template <typename Model>
const QZ::Math::Transform& MetapodRigidBodySystem<Model>::getPose(unsigned long b) const noexcept {
  if (b == static_cast<unsigned long>(metapod::models::no_parent)) return worldPose_;
  assert(b < body_count && "getPose: body index out of range");
  return poses_[b];
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setPose(unsigned long b, const QZ::Math::Transform& pose) noexcept {
  assert(b < body_count && "setPose: body index out of range");
  poses_[b] = pose;
}

template <typename Model>
const QZ::Math::Transform& MetapodRigidBodySystem<Model>::getVolatilePose(unsigned long v) const noexcept {
  assert(v < volatile_frame_count && "getVolatilePose: volatile-frame index out of range");
  return poses_[body_count + v];
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setVolatilePose(unsigned long v, const QZ::Math::Transform& pose) noexcept {
  assert(v < volatile_frame_count && "setVolatilePose: volatile-frame index out of range");
  poses_[body_count + v] = pose;
}

template <typename Model>
QZ::Math::Position3D MetapodRigidBodySystem<Model>::getComPosition(unsigned long b) const noexcept {
  assert(b < body_count && "getComPosition: body index out of range");
  const Spatial3 com_body = Model::inertias[b].center_of_mass();
  return poses_[b] * QZ::Math::Position3D(com_body.x, com_body.y, com_body.z);
}

template <typename Model>
const QZ::Math::Position3D& MetapodRigidBodySystem<Model>::getComPositionInRoot() const noexcept {
  return comInRoot_;
}

template <typename Model>
const QZ::Math::Position3D& MetapodRigidBodySystem<Model>::getComPosition() const noexcept {
  return com_;
}

template <typename Model>
const RigidBodySystem::Jacobian& MetapodRigidBodySystem<Model>::getJacobianInRoot() const noexcept {
  return jacobianInRoot_;
}

}  // namespace tesk
