#pragma once

#include "plugin/rigid_body_system.h"

namespace korvel::faulty {

/// A new object of the module as it should be.
std::unique_ptr<tesk::RigidBodySystem> sound();

/// Does all that an object of the sound module does, with its bits. A fault overrides some of it.
class Forwarder : public tesk::RigidBodySystem {
 public:
  using Transform = QZ::Math::Transform;
  using Position = QZ::Math::Position3D;
  using Six = QZ::Math::Velocity6D;
  using Wrench = std::vector<float>;

  Forwarder() : real_(sound()) {}
  Forwarder(const Forwarder& other) : RigidBodySystem(other), real_(other.real_->clone()) {}
  Forwarder& operator=(const Forwarder&) = delete;
  ~Forwarder() override = default;

  std::string getName() const override { return real_->getName(); }
  unsigned long getNbJointAngles() const noexcept override { return real_->getNbJointAngles(); }
  unsigned long getNbBodies() const noexcept override { return real_->getNbBodies(); }
  unsigned long getNbVolatileFrames() const noexcept override { return real_->getNbVolatileFrames(); }
  const std::string& getRootName() const noexcept override { return real_->getRootName(); }
  const std::string& getJointAngleName(unsigned long j) const noexcept override { return real_->getJointAngleName(j); }
  unsigned long getJointAngleId(const std::string& name) const override { return real_->getJointAngleId(name); }
  const std::string& getBodyName(unsigned long b) const noexcept override { return real_->getBodyName(b); }
  unsigned long getBodyId(const std::string& name) const override { return real_->getBodyId(name); }
  TopologyVector getParentsVector() const override { return real_->getParentsVector(); }
  TopologyVector getDofNumbersVector() const override { return real_->getDofNumbersVector(); }
  TopologyVector getDofIndexesVector() const override { return real_->getDofIndexesVector(); }

  void setBodyInertia(unsigned long b, float mass, const Position& com, const Eigen::Matrix3f& I) noexcept override {
    real_->setBodyInertia(b, mass, com, I);
  }
  float getMass() const noexcept override { return real_->getMass(); }
  float getPartialMass(unsigned long b) const noexcept override { return real_->getPartialMass(b); }
  float getMass(unsigned long b) const noexcept override { return real_->getMass(b); }

  void setRootPose(const Transform& pose) noexcept override { real_->setRootPose(pose); }
  const Transform& getRootPose() const noexcept override { return real_->getRootPose(); }
  void setRootVelocity(const Six& v) noexcept override { real_->setRootVelocity(v); }
  void setRootAcceleration(const Six& a) noexcept override { real_->setRootAcceleration(a); }
  Six getRootVelocity() const noexcept override { return real_->getRootVelocity(); }
  Six getRootAcceleration() const noexcept override { return real_->getRootAcceleration(); }
  void setJointAnglesPos(const JointValues& values) noexcept override { real_->setJointAnglesPos(values); }
  void setJointAnglesVel(const JointValues& values) noexcept override { real_->setJointAnglesVel(values); }
  void setJointAnglesAcc(const JointValues& values) noexcept override { real_->setJointAnglesAcc(values); }
  void setJointAnglePos(unsigned long j, float value) noexcept override { real_->setJointAnglePos(j, value); }
  void setJointAngleVel(unsigned long j, float value) noexcept override { real_->setJointAngleVel(j, value); }
  void setJointAngleAcc(unsigned long j, float value) noexcept override { real_->setJointAngleAcc(j, value); }
  float getJointAnglePos(unsigned long j) const noexcept override { return real_->getJointAnglePos(j); }
  float getJointAngleVel(unsigned long j) const noexcept override { return real_->getJointAngleVel(j); }
  float getJointAngleAcc(unsigned long j) const noexcept override { return real_->getJointAngleAcc(j); }
  tesk::FloatRange getJointAnglesPos() const noexcept override { return real_->getJointAnglesPos(); }
  tesk::FloatRange getJointAnglesVel() const noexcept override { return real_->getJointAnglesVel(); }
  tesk::FloatRange getJointAnglesAcc() const noexcept override { return real_->getJointAnglesAcc(); }
  void setExternalWrench(unsigned long b, const Wrench& wrench) noexcept override {
    real_->setExternalWrench(b, wrench);
  }
  void setExternalWrench(unsigned long b, const Wrench& wrench, Transform frame) noexcept override {
    real_->setExternalWrench(b, wrench, frame);
  }

  void computeFwdKinematicsExceptRoot() noexcept override { real_->computeFwdKinematicsExceptRoot(); }
  void computeFwdKinematicsOnlyRoot() noexcept override { real_->computeFwdKinematicsOnlyRoot(); }
  void computeGeneralizedMass() noexcept override { real_->computeGeneralizedMass(); }
#if KORVEL_EIGEN_ALLOCATES
  void computePartialComJacobianOfRightSize(unsigned long b, ComJacobian& J) override {
    real_->computePartialComJacobian(b, J);
  }
#else
  void computePartialComJacobian(unsigned long b, ComJacobian& J) override { real_->computePartialComJacobian(b, J); }
#endif
  Position computePartialComPositionInRoot(unsigned long b) noexcept override {
    return real_->computePartialComPositionInRoot(b);
  }
  void computeInverseDynamics() noexcept override { real_->computeInverseDynamics(); }

  const Transform& getPoseInRoot(unsigned long b) const noexcept override { return real_->getPoseInRoot(b); }
  const Transform& getPose(unsigned long b) const noexcept override { return real_->getPose(b); }
  void setPose(unsigned long b, const Transform& pose) noexcept override { real_->setPose(b, pose); }
  const Transform& getVolatilePose(unsigned long v) const noexcept override { return real_->getVolatilePose(v); }
  void setVolatilePose(unsigned long v, const Transform& pose) noexcept override { real_->setVolatilePose(v, pose); }
  Position getComPosition(unsigned long b) const noexcept override { return real_->getComPosition(b); }
  const Position& getComPositionInRoot() const noexcept override { return real_->getComPositionInRoot(); }
  const Position& getComPosition() const noexcept override { return real_->getComPosition(); }
  const Eigen::MatrixXf& getGeneralizedMass() const noexcept override { return real_->getGeneralizedMass(); }
  const Jacobian& getJacobianInRoot() const noexcept override { return real_->getJacobianInRoot(); }
  float getJointAngleTorque(unsigned long j) const noexcept override { return real_->getJointAngleTorque(j); }
  tesk::FloatRange getJointAnglesTorque() const noexcept override { return real_->getJointAnglesTorque(); }

  // What is stored, to be spoilt.
  RigidBodySystem& real() const { return *real_; }
  float& torque(unsigned long j) { return const_cast<float&>(real_->getJointAnglesTorque()[j]); }
  Eigen::MatrixXf& mass() { return const_cast<Eigen::MatrixXf&>(real_->getGeneralizedMass()); }
  Jacobian& jacobian() { return const_cast<Jacobian&>(real_->getJacobianInRoot()); }
  Transform& pose(unsigned long b) { return const_cast<Transform&>(real_->getPose(b)); }
  Transform& pose_in_root(unsigned long b) { return const_cast<Transform&>(real_->getPoseInRoot(b)); }
  Position& com_in_root() { return const_cast<Position&>(real_->getComPositionInRoot()); }

 private:
  std::unique_ptr<RigidBodySystem> real_;
};

}  // namespace korvel::faulty
