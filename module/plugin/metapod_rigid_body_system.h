#pragma once

#include <array>
#include <cassert>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "metapod/algos/external_forces.h"
#include "metapod/algos/first_moments.h"
#include "metapod/algos/jcalc.h"
#include "plugin/conversions.h"
#include "plugin/rigid_body_system.h"

namespace tesk {

/// The interface on a model: holds the robot's inputs and results, and maps each operation onto the model's algorithms.
///
/// The contract in rigid_body_system.h says what each operation does, in which frames and units. Sizes, names and
/// indexes come from the model. Every buffer is sized at construction; computations work in these buffers and allocate
/// nothing. Indices and lengths that the caller must respect are asserted with the operation's name.
template <typename Model>
class MetapodRigidBodySystem final : public RigidBodySystem {
 public:
  /// Recomputes the total mass, which all objects share, from the table of inertias. May throw std::bad_alloc.
  MetapodRigidBodySystem();
  MetapodRigidBodySystem(const MetapodRigidBodySystem&) = default;
  MetapodRigidBodySystem& operator=(const MetapodRigidBodySystem&) = delete;
  ~MetapodRigidBodySystem() override = default;

  // Storage comes from the C allocator, which aligns to 16 bytes, so that host and module agree on how it is freed.
  // Never inlined: g++ would take one inlined half for a mismatch with the other.
  [[gnu::noinline]] static void* operator new(std::size_t size);
  [[gnu::noinline]] static void operator delete(void* storage) noexcept;

  std::unique_ptr<RigidBodySystem> clone() const override;

  std::string getName() const override;
  unsigned long getNbJointAngles() const noexcept override;
  unsigned long getNbBodies() const noexcept override;
  unsigned long getNbVolatileFrames() const noexcept override;
  const std::string& getRootName() const noexcept override;
  const std::string& getJointAngleName(unsigned long j) const noexcept override;
  unsigned long getJointAngleId(const std::string& name) const override;
  const std::string& getBodyName(unsigned long b) const noexcept override;
  unsigned long getBodyId(const std::string& name) const override;
  TopologyVector getParentsVector() const override;
  TopologyVector getDofNumbersVector() const override;
  TopologyVector getDofIndexesVector() const override;

  void setBodyInertia(unsigned long b, float mass, const QZ::Math::Position3D& com,
                      const Eigen::Matrix3f& inertia) noexcept override;
  float getMass() const noexcept override;
  float getPartialMass(unsigned long b) const noexcept override;
  float getMass(unsigned long b) const noexcept override;

  void setRootPose(const QZ::Math::Transform& pose) noexcept override;
  const QZ::Math::Transform& getRootPose() const noexcept override;
  void setRootVelocity(const QZ::Math::Velocity6D& v) noexcept override;
  void setRootAcceleration(const QZ::Math::Velocity6D& a) noexcept override;
  QZ::Math::Velocity6D getRootVelocity() const noexcept override;
  QZ::Math::Velocity6D getRootAcceleration() const noexcept override;
  void setJointAnglesPos(const JointValues& values) noexcept override;
  void setJointAnglesVel(const JointValues& values) noexcept override;
  void setJointAnglesAcc(const JointValues& values) noexcept override;
  void setJointAnglePos(unsigned long j, float value) noexcept override;
  void setJointAngleVel(unsigned long j, float value) noexcept override;
  void setJointAngleAcc(unsigned long j, float value) noexcept override;
  float getJointAnglePos(unsigned long j) const noexcept override;
  float getJointAngleVel(unsigned long j) const noexcept override;
  float getJointAngleAcc(unsigned long j) const noexcept override;
  FloatRange getJointAnglesPos() const noexcept override;
  FloatRange getJointAnglesVel() const noexcept override;
  FloatRange getJointAnglesAcc() const noexcept override;
  void setExternalWrench(unsigned long b, const std::vector<float>& wrench) noexcept override;
  void setExternalWrench(unsigned long b, const std::vector<float>& wrench,
                         QZ::Math::Transform frame) noexcept override;

  void computeFwdKinematicsExceptRoot() noexcept override;
  void computeFwdKinematicsOnlyRoot() noexcept override;
  QZ::Math::Position3D computePartialComPositionInRoot(unsigned long b) noexcept override;
  const QZ::Math::Transform& getPoseInRoot(unsigned long b) const noexcept override;
  const QZ::Math::Transform& getPose(unsigned long b) const noexcept override;
  void setPose(unsigned long b, const QZ::Math::Transform& pose) noexcept override;
  const QZ::Math::Transform& getVolatilePose(unsigned long v) const noexcept override;
  void setVolatilePose(unsigned long v, const QZ::Math::Transform& pose) noexcept override;
  QZ::Math::Position3D getComPosition(unsigned long b) const noexcept override;
  const QZ::Math::Position3D& getComPositionInRoot() const noexcept override;
  const QZ::Math::Position3D& getComPosition() const noexcept override;
  const Jacobian& getJacobianInRoot() const noexcept override;

  void computeGeneralizedMass() noexcept override;
  void computePartialComJacobian(unsigned long b, ComJacobian& J) override;
  void computeInverseDynamics() noexcept override;
  const Eigen::MatrixXf& getGeneralizedMass() const noexcept override;
  float getJointAngleTorque(unsigned long j) const noexcept override;
  FloatRange getJointAnglesTorque() const noexcept override;

 private:
  static constexpr int root = 0;
  static constexpr int root_dof = metapod::NodeOf<Model, root>::Joint::dof;
  static constexpr int dof_count = Model::dof_count;
  static constexpr unsigned long body_count = Model::body_count;
  static constexpr unsigned long joint_count = body_count - 1;
  static constexpr unsigned long volatile_frame_count = 1;
  // Joint angle j is the joint of body j + 1, and coordinate root_dof + j.
  static_assert(root_dof + static_cast<int>(joint_count) == dof_count, "every joint but the root's has one coordinate");

  using Coordinates = Eigen::Matrix<float, dof_count, 1>;
  using RootCoordinates = typename metapod::NodeOf<Model, root>::Joint::Coordinates;

  static Eigen::Index dof(unsigned long j) noexcept { return root_dof + static_cast<Eigen::Index>(j); }
  static FloatRange joint_range(const Coordinates& values) noexcept {
    return {values.data() + root_dof, values.data() + dof_count};
  }
  static void set_joints(Coordinates& coordinates, const JointValues& values) noexcept;
  static void set_root(Coordinates& coordinates, const RootCoordinates& values) noexcept;

  /// The joint pass, unless nodes are still as the last one left them but for the root.
  void update_joints() noexcept;
  void pass_joints() noexcept;

  Model robot_;                                   ///< what the algorithms leave in the nodes
  Coordinates q_ = Coordinates::Zero();           ///< positions: root x, y, z, angles about x, y, z; joint angles
  metapod::SinesAndCosines<Model> angles_;        ///< of q_: the root's are current, the others those of the last pass
  bool joints_are_current_ = false;               ///< no joint was set since the last joint pass
  Coordinates dq_ = Coordinates::Zero();          ///< root linear, angular velocity in its frame; joint velocities
  Coordinates ddq_ = Coordinates::Zero();         ///< time derivative of dq_
  Coordinates torques_ = Coordinates::Zero();     ///< generalized forces
  metapod::ExternalForces<Model> fext_;           ///< external force on each body, in its frame
  Jacobian jacobianInRoot_;                       ///< 6 x coordinates
  Eigen::MatrixXf generalizedMass_;               ///< coordinates x coordinates
  std::vector<QZ::Math::Transform> poses_;        ///< world poses of the bodies, then of the volatile frames
  std::vector<QZ::Math::Transform> posesInRoot_;  ///< [0] is never written: the identity
  metapod::RootToBody<Model> iX1_;                ///< from the root to each body
  metapod::FirstMoments<Model> moments_;          ///< of the bodies, in the root
  QZ::Math::Position3D com_;                      ///< of the robot, in the world
  QZ::Math::Position3D comInRoot_;
  QZ::Math::Transform worldPose_;  ///< the identity

  static inline float mass_ = 0;  ///< total mass, shared by all objects
};

}  // namespace tesk
