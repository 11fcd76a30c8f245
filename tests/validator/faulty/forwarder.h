#pragma once

#include "contract/forwarder.h"

namespace korvel::faulty {

/// A new object of the module as it should be.
std::unique_ptr<tesk::RigidBodySystem> sound();

/// Does all that an object of the sound module does, with its bits. A fault overrides some of it.
class Forwarder : public korvel::Forwarder<Forwarder> {
 public:
  Forwarder() : real_(sound()) {}
  Forwarder(const Forwarder& other) : korvel::Forwarder<Forwarder>(other), real_(other.real_->clone()) {}
  Forwarder& operator=(const Forwarder&) = delete;
  ~Forwarder() override = default;

  template <auto method, typename... Values>
  decltype(auto) call(Values&... values) const {
    return (real_.get()->*method)(values...);
  }
  /// Its parts may be overridden.
  void computeFwdKinematics() noexcept override { RigidBodySystem::computeFwdKinematics(); }

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
