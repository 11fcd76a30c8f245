#pragma once

#include "bench/peers/peer.h"
#include "host/robot/module.h"

namespace korvel::bench {

/// A module as the others see it: the reference for their numbers.
class ModulePeer final : public Peer {
 public:
  ModulePeer(const host::Module& module, const LoadedInstants& states) : states_(states), robot_(module.create()) {}

  void set_root_and_wrenches(std::size_t state) override;
  void compute_kinematics(std::size_t state) override;
  void compute_mass(std::size_t state) override;
  void compute_dynamics(std::size_t state) override;

  std::vector<Pose> poses() const override;
  Eigen::Vector3d com() const override;
  Eigen::MatrixXd jacobian() const override;
  std::vector<double> masses() const override;
  Eigen::MatrixXd mass() const override { return robot_->getGeneralizedMass().cast<double>(); }
  Eigen::VectorXd torques() const override;

 private:
  const LoadedInstants& states_;
  host::System robot_;
};

}  // namespace korvel::bench
