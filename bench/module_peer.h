#pragma once

#include "bench/peer.h"
#include "host/module.h"

namespace korvel::bench {

/// A module as the others see it: the reference for their numbers.
class ModulePeer final : public Peer {
 public:
  ModulePeer(const host::Module& module, const States& states) : states_(states), robot_(module.create()) {}

  void setRootAndWrenches(std::size_t state) override;
  void computeKinematics(std::size_t state) override;
  void computeMass(std::size_t state) override;
  void computeDynamics(std::size_t state) override;

  std::vector<Pose> poses() const override;
  Eigen::Vector3d com() const override;
  Eigen::MatrixXd jacobian() const override;
  std::vector<double> masses() const override;
  Eigen::MatrixXd mass() const override { return robot_->getGeneralizedMass().cast<double>(); }
  Eigen::VectorXd torques() const override;

 private:
  const States& states_;
  host::System robot_;
};

}  // namespace korvel::bench
