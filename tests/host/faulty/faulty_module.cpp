// The module with one fault, which a definition names. Each replaces an operation of the adapter.

#include "metapod/models/korvel/korvel.h"
#include "plugin/dynamics.h"
#include "plugin/inputs.h"
#include "plugin/kinematics.h"
#include "plugin/state.h"

namespace tesk {

using Faulty = MetapodRigidBodySystem<metapod::KORVEL_MODEL>;

#if defined(FAULT_swapped)
template <>
float Faulty::getJointAngleVel(unsigned long j) const noexcept {
  return ddq_(dof(j));
}
template <>
float Faulty::getJointAngleAcc(unsigned long j) const noexcept {
  return dq_(dof(j));
}
#elif defined(FAULT_shared)
static QZ::Math::Transform shared_pose;
template <>
const QZ::Math::Transform& Faulty::getVolatilePose(unsigned long) const noexcept {
  return shared_pose;
}
template <>
void Faulty::setVolatilePose(unsigned long, const QZ::Math::Transform& pose) noexcept {
  shared_pose = pose;
}
#elif defined(FAULT_halves)
template <>
void Faulty::setExternalWrench(unsigned long b, const std::vector<float>& w) noexcept {
  fext_.set(static_cast<int>(b), {{w[0], w[1], w[2]}, {w[3], w[4], w[5]}});
}
#elif defined(FAULT_gravity)
template <>
void Faulty::computeInverseDynamics() noexcept {
  using namespace metapod::internal;
  using Model = metapod::KORVEL_MODEL;
  const float* q = q_.data();
  angles_.take_joints(q);
  const float* dq = dq_.data();
  float* torques = torques_.data();
  // Twice as much downwards as gravity seems to accelerate upwards.
  Coordinates accelerations = ddq_;
  accelerations.head<3>() -= 2 * 9.81F * Eigen::Vector3f(poses_[root].r20, poses_[root].r21, poses_[root].r22);
  const float* ddq = accelerations.data();
  depth_first_traversal_internal<JcalcVisitor, Model, root>::run(robot_, q, angles_, dq);
  depth_first_traversal_internal<metapod::rnea<Model, false>::template DftVisitor, Model, root>::run(robot_, ddq, fext_,
                                                                                                     torques);
}
#elif defined(FAULT_allocation)
template <>
float Faulty::getJointAngleTorque(unsigned long j) const noexcept {
  const std::vector<float> scratch(torques_.begin(), torques_.end());
  return scratch[static_cast<std::size_t>(dof(j))];
}
#endif

}  // namespace tesk

#include "plugin/entry_points.cpp"
