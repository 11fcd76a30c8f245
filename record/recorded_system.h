#pragma once

#include <new>

#include "record/tape.h"

namespace korvel::record {

/// Hands every call on to an object of the module, and records it.
class RecordedSystem final : public tesk::RigidBodySystem {
  using Real = RigidBodySystem;
  using Transform = QZ::Math::Transform;
  using Position = QZ::Math::Position3D;
  using Six = QZ::Math::Velocity6D;
  using Wrench = std::vector<float>;
  using Names = recording::Operation;

  // Overloads.
  static constexpr float (Real::*total_mass)() const noexcept = &Real::getMass;
  static constexpr float (Real::*mass_of_body)(unsigned long) const noexcept = &Real::getMass;
  static constexpr void (Real::*plain_wrench)(unsigned long, const Wrench&) noexcept = &Real::setExternalWrench;
  static constexpr void (Real::*wrench_in_frame)(unsigned long, const Wrench&,
                                                 Transform) noexcept = &Real::setExternalWrench;
  static constexpr const Position& (Real::*com)() const noexcept = &Real::getComPosition;
  static constexpr Position (Real::*com_of_body)(unsigned long) const noexcept = &Real::getComPosition;

  template <auto method, typename... Values>
  decltype(auto) call(Names operation, const Values&... values) const {
    using Returned = decltype((real_.get()->*method)(values...));
    Call recorded(tape_, operation, recording::FormOf<Returned>::shape.bytes(tape_.size()), values...);
    if constexpr (std::is_void_v<Returned>) {
      (real_.get()->*method)(values...);
    } else if constexpr (noexcept((real_.get()->*method)(values...))) {
      Returned result = (real_.get()->*method)(values...);
      recorded.result(result);
      return static_cast<Returned>(result);
    } else {
      return may_throw(recorded, [&] {
        auto result = (real_.get()->*method)(values...);
        recorded.result(result);
        return result;
      });
    }
  }

  template <auto method>
  void compute(Names operation) noexcept {
    Call recorded(tape_, operation, shown_bytes(operation));
    (real_.get()->*method)();
    recorded.shown_by(*real_);
  }

  template <typename Function>
  static auto may_throw(Call& recorded, const Function& function) {
    try {
      return function();
    } catch (const std::bad_alloc&) {
      recorded.thrown(true);
      throw;
    } catch (...) {
      recorded.thrown(false);
      throw;
    }
  }

  std::size_t shown_bytes(Names operation) const noexcept {
    return recording::entry(operation).result_bytes(tape_.size());
  }

 public:
  RecordedSystem();
  RecordedSystem& operator=(const RecordedSystem&) = delete;
  ~RecordedSystem() override;

  std::unique_ptr<RigidBodySystem> clone() const override;

  std::string getName() const override { return call<&Real::getName>(Names::getName); }
  unsigned long getNbJointAngles() const noexcept override {
    return call<&Real::getNbJointAngles>(Names::getNbJointAngles);
  }
  unsigned long getNbBodies() const noexcept override { return call<&Real::getNbBodies>(Names::getNbBodies); }
  unsigned long getNbVolatileFrames() const noexcept override {
    return call<&Real::getNbVolatileFrames>(Names::getNbVolatileFrames);
  }
  const std::string& getRootName() const noexcept override { return call<&Real::getRootName>(Names::getRootName); }
  const std::string& getJointAngleName(unsigned long j) const noexcept override {
    return call<&Real::getJointAngleName>(Names::getJointAngleName, j);
  }
  unsigned long getJointAngleId(const std::string& name) const override {
    return call<&Real::getJointAngleId>(Names::getJointAngleId, name);
  }
  const std::string& getBodyName(unsigned long b) const noexcept override {
    return call<&Real::getBodyName>(Names::getBodyName, b);
  }
  unsigned long getBodyId(const std::string& name) const override {
    return call<&Real::getBodyId>(Names::getBodyId, name);
  }
  TopologyVector getParentsVector() const override { return call<&Real::getParentsVector>(Names::getParentsVector); }
  TopologyVector getDofNumbersVector() const override {
    return call<&Real::getDofNumbersVector>(Names::getDofNumbersVector);
  }
  TopologyVector getDofIndexesVector() const override {
    return call<&Real::getDofIndexesVector>(Names::getDofIndexesVector);
  }

  void setBodyInertia(unsigned long b, float mass, const Position& com_body,
                      const Eigen::Matrix3f& I) noexcept override {
    call<&Real::setBodyInertia>(Names::setBodyInertia, b, mass, com_body, I);
    Recorder::get().count_shared_change();
  }
  float getMass() const noexcept override { return call<total_mass>(Names::getMass); }
  float getPartialMass(unsigned long b) const noexcept override {
    return call<&Real::getPartialMass>(Names::getPartialMass, b);
  }
  float getMass(unsigned long b) const noexcept override { return call<mass_of_body>(Names::getMassOfBody, b); }

  void setRootPose(const Transform& pose) noexcept override { call<&Real::setRootPose>(Names::setRootPose, pose); }
  const Transform& getRootPose() const noexcept override { return call<&Real::getRootPose>(Names::getRootPose); }
  void setRootVelocity(const Six& v) noexcept override { call<&Real::setRootVelocity>(Names::setRootVelocity, v); }
  void setRootAcceleration(const Six& a) noexcept override {
    call<&Real::setRootAcceleration>(Names::setRootAcceleration, a);
  }
  Six getRootVelocity() const noexcept override { return call<&Real::getRootVelocity>(Names::getRootVelocity); }
  Six getRootAcceleration() const noexcept override {
    return call<&Real::getRootAcceleration>(Names::getRootAcceleration);
  }
  void setJointAnglesPos(const JointValues& values) noexcept override {
    call<&Real::setJointAnglesPos>(Names::setJointAnglesPos, values);
  }
  void setJointAnglesVel(const JointValues& values) noexcept override {
    call<&Real::setJointAnglesVel>(Names::setJointAnglesVel, values);
  }
  void setJointAnglesAcc(const JointValues& values) noexcept override {
    call<&Real::setJointAnglesAcc>(Names::setJointAnglesAcc, values);
  }
  void setJointAnglePos(unsigned long j, float value) noexcept override {
    call<&Real::setJointAnglePos>(Names::setJointAnglePos, j, value);
  }
  void setJointAngleVel(unsigned long j, float value) noexcept override {
    call<&Real::setJointAngleVel>(Names::setJointAngleVel, j, value);
  }
  void setJointAngleAcc(unsigned long j, float value) noexcept override {
    call<&Real::setJointAngleAcc>(Names::setJointAngleAcc, j, value);
  }
  float getJointAnglePos(unsigned long j) const noexcept override {
    return call<&Real::getJointAnglePos>(Names::getJointAnglePos, j);
  }
  float getJointAngleVel(unsigned long j) const noexcept override {
    return call<&Real::getJointAngleVel>(Names::getJointAngleVel, j);
  }
  float getJointAngleAcc(unsigned long j) const noexcept override {
    return call<&Real::getJointAngleAcc>(Names::getJointAngleAcc, j);
  }
  tesk::FloatRange getJointAnglesPos() const noexcept override {
    return call<&Real::getJointAnglesPos>(Names::getJointAnglesPos);
  }
  tesk::FloatRange getJointAnglesVel() const noexcept override {
    return call<&Real::getJointAnglesVel>(Names::getJointAnglesVel);
  }
  tesk::FloatRange getJointAnglesAcc() const noexcept override {
    return call<&Real::getJointAnglesAcc>(Names::getJointAnglesAcc);
  }
  void setExternalWrench(unsigned long b, const Wrench& wrench) noexcept override {
    call<plain_wrench>(Names::setExternalWrench, b, wrench);
  }
  void setExternalWrench(unsigned long b, const Wrench& wrench, Transform frame) noexcept override {
    call<wrench_in_frame>(Names::setExternalWrenchInFrame, b, wrench, frame);
  }

  void computeFwdKinematicsExceptRoot() noexcept override {
    compute<&Real::computeFwdKinematicsExceptRoot>(Names::computeFwdKinematicsExceptRoot);
  }
  void computeFwdKinematicsOnlyRoot() noexcept override {
    compute<&Real::computeFwdKinematicsOnlyRoot>(Names::computeFwdKinematicsOnlyRoot);
  }
  void computeFwdKinematics() noexcept override { compute<&Real::computeFwdKinematics>(Names::computeFwdKinematics); }
  void computeGeneralizedMass() noexcept override {
    compute<&Real::computeGeneralizedMass>(Names::computeGeneralizedMass);
  }
#if KORVEL_EIGEN_ALLOCATES
  void computePartialComJacobianOfRightSize(unsigned long b, ComJacobian& J) override { partial_com_jacobian(b, J); }
#else
  void computePartialComJacobian(unsigned long b, ComJacobian& J) override { partial_com_jacobian(b, J); }
#endif
  Position computePartialComPositionInRoot(unsigned long b) noexcept override {
    return call<&Real::computePartialComPositionInRoot>(Names::computePartialComPositionInRoot, b);
  }
  void computeInverseDynamics() noexcept override {
    compute<&Real::computeInverseDynamics>(Names::computeInverseDynamics);
  }

  const Transform& getPoseInRoot(unsigned long b) const noexcept override {
    return call<&Real::getPoseInRoot>(Names::getPoseInRoot, b);
  }
  const Transform& getPose(unsigned long b) const noexcept override { return call<&Real::getPose>(Names::getPose, b); }
  void setPose(unsigned long b, const Transform& pose) noexcept override {
    call<&Real::setPose>(Names::setPose, b, pose);
  }
  const Transform& getVolatilePose(unsigned long v) const noexcept override {
    return call<&Real::getVolatilePose>(Names::getVolatilePose, v);
  }
  void setVolatilePose(unsigned long v, const Transform& pose) noexcept override {
    call<&Real::setVolatilePose>(Names::setVolatilePose, v, pose);
  }
  Position getComPosition(unsigned long b) const noexcept override {
    return call<com_of_body>(Names::getComPositionOfBody, b);
  }
  const Position& getComPositionInRoot() const noexcept override {
    return call<&Real::getComPositionInRoot>(Names::getComPositionInRoot);
  }
  const Position& getComPosition() const noexcept override { return call<com>(Names::getComPosition); }
  const Eigen::MatrixXf& getGeneralizedMass() const noexcept override {
    return call<&Real::getGeneralizedMass>(Names::getGeneralizedMass);
  }
  const Jacobian& getJacobianInRoot() const noexcept override {
    return call<&Real::getJacobianInRoot>(Names::getJacobianInRoot);
  }
  float getJointAngleTorque(unsigned long j) const noexcept override {
    return call<&Real::getJointAngleTorque>(Names::getJointAngleTorque, j);
  }
  tesk::FloatRange getJointAnglesTorque() const noexcept override {
    return call<&Real::getJointAnglesTorque>(Names::getJointAnglesTorque);
  }

 private:
  RecordedSystem(const RecordedSystem& other);

  void partial_com_jacobian(unsigned long b, ComJacobian& J);

  Presence presence_;
  std::unique_ptr<RigidBodySystem> real_;
  mutable Tape tape_;
};

}  // namespace korvel::record
