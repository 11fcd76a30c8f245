#pragma once

/// Forward kinematics, centres of mass and their results.

#include "metapod/algos/fwd_kin_iX1.h"
#include "plugin/metapod_rigid_body_system.h"
#include "plugin/poses.h"

namespace tesk {

/// The centre of mass of a first moment and a mass.
inline QZ::Math::Position3D divided(const metapod::Spatial::Vector3& first_moment, float mass) noexcept {
  const float k = 1 / mass;
  return {first_moment.x * k, first_moment.y * k, first_moment.z * k};
}

template <typename Model>
[[gnu::noinline, gnu::flatten]] void MetapodRigidBodySystem<Model>::pass_joints() noexcept {
  metapod::jcalc_pos<Model>::run(robot_, q_.data(), angles_);
  joints_are_current_ = true;
}

template <typename Model>
void MetapodRigidBodySystem<Model>::update_joints() noexcept {
  if (!joints_are_current_) return pass_joints();
  metapod::jcalc_pos<Model>::run_root(robot_, q_.data(), angles_);
}

template <typename Model>
[[gnu::flatten]] void MetapodRigidBodySystem<Model>::computeFwdKinematicsExceptRoot() noexcept {
  update_joints();
  metapod::fwd_kin_iX1<Model>::run(robot_, iX1_, jacobianInRoot_.data(), moments_);
  poses_in_root<Model>::run(iX1_, posesInRoot_.data());
  comInRoot_ = divided(moments_.sum(), mass_);
}

template <typename Model>
[[gnu::flatten]] void MetapodRigidBodySystem<Model>::computeFwdKinematicsOnlyRoot() noexcept {
  metapod::jcalc_pos<Model>::run_root(robot_, q_.data(), angles_);
  const InBothScalars world_to_root(metapod::node<root>(robot_).iXp);
  invToQZMath(world_to_root.as<float>(), poses_[root]);
  poses_in_world<Model>::run(iX1_, world_to_root, poses_.data());
  com_ = poses_[root] * comInRoot_;
}

template <typename Model>
[[gnu::flatten]] QZ::Math::Position3D MetapodRigidBodySystem<Model>::computePartialComPositionInRoot(
    unsigned long b) noexcept {
  if (b == root || b >= body_count) return com_;
  if (!moments_.are_current()) metapod::first_moments<Model>::run(robot_, iX1_, moments_);
  return divided(moments_.sum_without(b), mass_ - Model::inertias()[b].m);
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
  const metapod::Spatial::Vector3 com_body = Model::inertias()[b].center_of_mass();
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
