#pragma once

#include "contract/operations.h"

namespace korvel {

/// Implements the interface by a single function of `Derived`, by which it handles every call:
///
///   template <auto method, typename... Values>
///   decltype(auto) call(Values&... values) const;
///
/// `method` is the member function as the table of operations has it. `clone` stays with the derived class.
template <typename Derived>
class Forwarder : public tesk::RigidBodySystem {
 public:
  using Real = RigidBodySystem;
  using Transform = QZ::Math::Transform;
  using Position = QZ::Math::Position3D;
  using Six = QZ::Math::Velocity6D;
  using Wrench = std::vector<float>;

  std::string getName() const override { return pass<&Real::getName>(); }
  unsigned long getNbJointAngles() const noexcept override { return pass<&Real::getNbJointAngles>(); }
  unsigned long getNbBodies() const noexcept override { return pass<&Real::getNbBodies>(); }
  unsigned long getNbVolatileFrames() const noexcept override { return pass<&Real::getNbVolatileFrames>(); }
  const std::string& getRootName() const noexcept override { return pass<&Real::getRootName>(); }
  const std::string& getJointAngleName(unsigned long j) const noexcept override {
    return pass<&Real::getJointAngleName>(j);
  }
  unsigned long getJointAngleId(const std::string& name) const override { return pass<&Real::getJointAngleId>(name); }
  const std::string& getBodyName(unsigned long b) const noexcept override { return pass<&Real::getBodyName>(b); }
  unsigned long getBodyId(const std::string& name) const override { return pass<&Real::getBodyId>(name); }

  void setBodyInertia(unsigned long b, float mass, const Position& com, const Eigen::Matrix3f& I) noexcept override {
    pass<&Real::setBodyInertia>(b, mass, com, I);
  }
  float getMass() const noexcept override { return pass<mass_of_robot>(); }
  float getPartialMass(unsigned long b) const noexcept override { return pass<&Real::getPartialMass>(b); }
  float getMass(unsigned long b) const noexcept override { return pass<mass_of_body>(b); }

  void setRootPose(const Transform& pose) noexcept override { pass<&Real::setRootPose>(pose); }
  const Transform& getRootPose() const noexcept override { return pass<&Real::getRootPose>(); }
  void setRootVelocity(const Six& v) noexcept override { pass<&Real::setRootVelocity>(v); }
  void setRootAcceleration(const Six& a) noexcept override { pass<&Real::setRootAcceleration>(a); }
  Six getRootVelocity() const noexcept override { return pass<&Real::getRootVelocity>(); }
  Six getRootAcceleration() const noexcept override { return pass<&Real::getRootAcceleration>(); }
  void setJointAnglesPos(const JointValues& values) noexcept override { pass<&Real::setJointAnglesPos>(values); }
  void setJointAnglesVel(const JointValues& values) noexcept override { pass<&Real::setJointAnglesVel>(values); }
  void setJointAnglesAcc(const JointValues& values) noexcept override { pass<&Real::setJointAnglesAcc>(values); }
  void setJointAnglePos(unsigned long j, float value) noexcept override { pass<&Real::setJointAnglePos>(j, value); }
  void setJointAngleVel(unsigned long j, float value) noexcept override { pass<&Real::setJointAngleVel>(j, value); }
  void setJointAngleAcc(unsigned long j, float value) noexcept override { pass<&Real::setJointAngleAcc>(j, value); }
  float getJointAnglePos(unsigned long j) const noexcept override { return pass<&Real::getJointAnglePos>(j); }
  float getJointAngleVel(unsigned long j) const noexcept override { return pass<&Real::getJointAngleVel>(j); }
  float getJointAngleAcc(unsigned long j) const noexcept override { return pass<&Real::getJointAngleAcc>(j); }
  tesk::FloatRange getJointAnglesPos() const noexcept override { return pass<&Real::getJointAnglesPos>(); }
  tesk::FloatRange getJointAnglesVel() const noexcept override { return pass<&Real::getJointAnglesVel>(); }
  tesk::FloatRange getJointAnglesAcc() const noexcept override { return pass<&Real::getJointAnglesAcc>(); }
  void setExternalWrench(unsigned long b, const Wrench& wrench) noexcept override { pass<external_wrench>(b, wrench); }
  void setExternalWrench(unsigned long b, const Wrench& wrench, Transform frame) noexcept override {
    pass<wrench_in_frame>(b, wrench, frame);
  }

  void computeFwdKinematicsExceptRoot() noexcept override { pass<&Real::computeFwdKinematicsExceptRoot>(); }
  void computeFwdKinematicsOnlyRoot() noexcept override { pass<&Real::computeFwdKinematicsOnlyRoot>(); }
  void computeFwdKinematics() noexcept override { pass<&Real::computeFwdKinematics>(); }
  void computeGeneralizedMass() noexcept override { pass<&Real::computeGeneralizedMass>(); }
#if KORVEL_EIGEN_ALLOCATES
  void computePartialComJacobianOfRightSize(unsigned long b, ComJacobian& J) override {
    pass<&Real::computePartialComJacobian>(b, J);
  }
#else
  void computePartialComJacobian(unsigned long b, ComJacobian& J) override {
    pass<&Real::computePartialComJacobian>(b, J);
  }
#endif
  Position computePartialComPositionInRoot(unsigned long b) noexcept override {
    return pass<&Real::computePartialComPositionInRoot>(b);
  }

  const Transform& getPoseInRoot(unsigned long b) const noexcept override { return pass<&Real::getPoseInRoot>(b); }
  const Transform& getPose(unsigned long b) const noexcept override { return pass<&Real::getPose>(b); }
  void setPose(unsigned long b, const Transform& pose) noexcept override { pass<&Real::setPose>(b, pose); }
  const Transform& getVolatilePose(unsigned long v) const noexcept override { return pass<&Real::getVolatilePose>(v); }
  void setVolatilePose(unsigned long v, const Transform& pose) noexcept override {
    pass<&Real::setVolatilePose>(v, pose);
  }
  Position getComPosition(unsigned long b) const noexcept override { return pass<com_of_body>(b); }
  const Position& getComPositionInRoot() const noexcept override { return pass<&Real::getComPositionInRoot>(); }
  const Position& getComPosition() const noexcept override { return pass<com_of_robot>(); }
  const Eigen::MatrixXf& getGeneralizedMass() const noexcept override { return pass<&Real::getGeneralizedMass>(); }
  const Jacobian& getJacobianInRoot() const noexcept override { return pass<&Real::getJacobianInRoot>(); }

  TopologyVector getParentsVector() const override { return pass<&Real::getParentsVector>(); }
  TopologyVector getDofNumbersVector() const override { return pass<&Real::getDofNumbersVector>(); }
  TopologyVector getDofIndexesVector() const override { return pass<&Real::getDofIndexesVector>(); }

  void computeInverseDynamics() noexcept override { pass<&Real::computeInverseDynamics>(); }
  float getJointAngleTorque(unsigned long j) const noexcept override { return pass<&Real::getJointAngleTorque>(j); }
  tesk::FloatRange getJointAnglesTorque() const noexcept override { return pass<&Real::getJointAnglesTorque>(); }

 private:
  template <auto method, typename... Values>
  decltype(auto) pass(Values&... values) const {
    return static_cast<const Derived&>(*this).template call<method>(values...);
  }
};

}  // namespace korvel
