#pragma once

/// Inputs of the computations: joints, root, wrenches, inertias. They are stored, with what is derived from them alone.

#include <algorithm>
#include <array>

#include "plugin/metapod_rigid_body_system.h"

namespace tesk {

template <typename Model>
void MetapodRigidBodySystem<Model>::setBodyInertia(unsigned long b, float mass, const QZ::Math::Position3D& com,
                                                   const Eigen::Matrix3f& inertia) noexcept {
  assert(b < body_count && "setBodyInertia: body index out of range");
  mass_ = (mass - Model::inertias()[b].m) + mass_;
  Model::set_inertia(b, metapod::Spatial::Inertia::from_center_of_mass(mass, {com.x, com.y, com.z},
                                                                       {inertia(0, 0), inertia(1, 0), inertia(1, 1),
                                                                        inertia(2, 0), inertia(2, 1), inertia(2, 2)}));
}

template <typename Model>
float MetapodRigidBodySystem<Model>::getMass() const noexcept {
  return mass_;
}

template <typename Model>
float MetapodRigidBodySystem<Model>::getPartialMass(unsigned long b) const noexcept {
  return b < body_count ? mass_ - Model::inertias()[b].m : mass_;
}

template <typename Model>
float MetapodRigidBodySystem<Model>::getMass(unsigned long b) const noexcept {
  assert(b < body_count && "getMass: body index out of range");
  return Model::inertias()[b].m;
}

// ---- Root ---------------------------------------------------------------------------------------------------------

template <typename Model>
void MetapodRigidBodySystem<Model>::set_root(Coordinates& coordinates, const RootCoordinates& values) noexcept {
  std::copy(values.begin(), values.end(), coordinates.data());
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setRootPose(const QZ::Math::Transform& pose) noexcept {
  const QZ::Math::Position6D p = QZ::Math::position6DFromTransform(pose);
  set_root(q_, {p.x, p.y, p.z, p.ax, p.ay, p.az});
  angles_.take_root(p.ax, p.ay, p.az);
  const auto [q, sine, cosine] = angles_.template of<metapod::NodeOf<Model, root>>(q_.data());
  poses_[root] = QZ::Math::transformFromPosition6D(p, {sine[3], sine[4], sine[5]}, {cosine[3], cosine[4], cosine[5]});
}

template <typename Model>
const QZ::Math::Transform& MetapodRigidBodySystem<Model>::getRootPose() const noexcept {
  return poses_[root];
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setRootVelocity(const QZ::Math::Velocity6D& v) noexcept {
  set_root(dq_, {v.x, v.y, v.z, v.wx, v.wy, v.wz});
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setRootAcceleration(const QZ::Math::Velocity6D& a) noexcept {
  set_root(ddq_, {a.x, a.y, a.z, a.wx, a.wy, a.wz});
}

template <typename Model>
QZ::Math::Velocity6D MetapodRigidBodySystem<Model>::getRootVelocity() const noexcept {
  return {dq_(0), dq_(1), dq_(2), dq_(3), dq_(4), dq_(5)};
}

template <typename Model>
QZ::Math::Velocity6D MetapodRigidBodySystem<Model>::getRootAcceleration() const noexcept {
  return {ddq_(0), ddq_(1), ddq_(2), ddq_(3), ddq_(4), ddq_(5)};
}

// ---- Joints -------------------------------------------------------------------------------------------------------

template <typename Model>
void MetapodRigidBodySystem<Model>::set_joints(Coordinates& coordinates, const JointValues& values) noexcept {
  // The copy goes through registers because the arrays may overlap: a host may pass the view that getJointAngles...
  // returned.
  std::array<float, joint_count> all;
  std::copy_n(values.data(), joint_count, all.data());
  std::copy_n(all.data(), joint_count, coordinates.data() + root_dof);
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setJointAnglesPos(const JointValues& values) noexcept {
  assert(values.size() >= Eigen::Index{joint_count} && "setJointAnglesPos: too few values");
  set_joints(q_, values);
  joints_are_current_ = false;
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setJointAnglesVel(const JointValues& values) noexcept {
  assert(values.size() >= Eigen::Index{joint_count} && "setJointAnglesVel: too few values");
  set_joints(dq_, values);
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setJointAnglesAcc(const JointValues& values) noexcept {
  assert(values.size() >= Eigen::Index{joint_count} && "setJointAnglesAcc: too few values");
  set_joints(ddq_, values);
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setJointAnglePos(unsigned long j, float value) noexcept {
  assert(j < joint_count && "setJointAnglePos: joint-angle index out of range");
  q_(dof(j)) = value;
  joints_are_current_ = false;
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setJointAngleVel(unsigned long j, float value) noexcept {
  assert(j < joint_count && "setJointAngleVel: joint-angle index out of range");
  dq_(dof(j)) = value;
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setJointAngleAcc(unsigned long j, float value) noexcept {
  assert(j < joint_count && "setJointAngleAcc: joint-angle index out of range");
  ddq_(dof(j)) = value;
}

template <typename Model>
float MetapodRigidBodySystem<Model>::getJointAnglePos(unsigned long j) const noexcept {
  assert(j < joint_count && "getJointAnglePos: joint-angle index out of range");
  return q_(dof(j));
}

template <typename Model>
float MetapodRigidBodySystem<Model>::getJointAngleVel(unsigned long j) const noexcept {
  assert(j < joint_count && "getJointAngleVel: joint-angle index out of range");
  return dq_(dof(j));
}

template <typename Model>
float MetapodRigidBodySystem<Model>::getJointAngleAcc(unsigned long j) const noexcept {
  assert(j < joint_count && "getJointAngleAcc: joint-angle index out of range");
  return ddq_(dof(j));
}

template <typename Model>
FloatRange MetapodRigidBodySystem<Model>::getJointAnglesPos() const noexcept {
  return joint_range(q_);
}

template <typename Model>
FloatRange MetapodRigidBodySystem<Model>::getJointAnglesVel() const noexcept {
  return joint_range(dq_);
}

template <typename Model>
FloatRange MetapodRigidBodySystem<Model>::getJointAnglesAcc() const noexcept {
  return joint_range(ddq_);
}

// ---- Wrenches -----------------------------------------------------------------------------------------------------

/// The host lists the force first, spatial forces have the moment first.
inline metapod::Spatial::Force force_of(const std::vector<float>& wrench) noexcept {
  return {{wrench[3], wrench[4], wrench[5]}, {wrench[0], wrench[1], wrench[2]}};
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setExternalWrench(unsigned long b, const std::vector<float>& wrench) noexcept {
  assert(b < body_count && "setExternalWrench: body index out of range");
  assert(wrench.size() >= 6 && "setExternalWrench: too few values");
  fext_.set(static_cast<int>(b), force_of(wrench));
}

template <typename Model>
void MetapodRigidBodySystem<Model>::setExternalWrench(unsigned long b, const std::vector<float>& wrench,
                                                      QZ::Math::Transform frame) noexcept {
  assert(b < body_count && "setExternalWrench: body index out of range");
  assert(wrench.size() >= 6 && "setExternalWrench: too few values");
  fext_.set(static_cast<int>(b), fromQZMath(frame).apply(force_of(wrench)));
}

}  // namespace tesk
