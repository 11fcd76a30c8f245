#include "bench/jobs.h"
#include "bench/peers/peer.h"
#include "host/robot/frames.h"

namespace korvel::bench {

namespace {

class ModulePeer final : public Peer {
 public:
  ModulePeer(host::System robot, const LoadedInstants& states) : states_(states), robot_(std::move(robot)) {}

  void set_root_and_wrenches(std::size_t state) override { bench::set_root_and_wrenches(*robot_, states_[state]); }
  void compute_kinematics(std::size_t state) override { bench::compute_kinematics(*robot_, states_[state]); }
  void compute_mass(std::size_t state) override { bench::compute_mass_from_angles(*robot_, states_[state]); }
  void compute_dynamics(std::size_t state) override { bench::compute_dynamics(*robot_, states_[state]); }

  Eigen::MatrixXd poses() const override {
    Eigen::MatrixXd poses(3, 4 * bodies());
    for (Eigen::Index b = 0; b < bodies(); ++b) {
      poses.middleCols<4>(4 * b) = host::isometry(robot_->getPose(static_cast<unsigned long>(b))).affine();
    }
    return poses;
  }

  Eigen::Vector3d com() const override { return host::vector(robot_->getComPosition()); }

  Eigen::MatrixXd jacobian() const override {
    return robot_->getJacobianInRoot().rightCols(bodies() - 1).cast<double>();
  }

  Eigen::VectorXd masses() const override {
    return Eigen::VectorXd::NullaryExpr(bodies(), [this](Eigen::Index b) {
      return static_cast<double>(robot_->getMass(static_cast<unsigned long>(b)));
    });
  }

  Eigen::MatrixXd mass() const override { return robot_->getGeneralizedMass().cast<double>(); }

  Eigen::VectorXd torques() const override {
    return Eigen::Map<const Eigen::VectorXf>(robot_->getJointAnglesTorque().first, bodies() - 1).cast<double>();
  }

 private:
  Eigen::Index bodies() const { return static_cast<Eigen::Index>(robot_->getNbBodies()); }

  const LoadedInstants& states_;
  host::System robot_;
};

}  // namespace

std::unique_ptr<Peer> module_peer(const host::Module& module, const LoadedInstants& states) {
  return std::make_unique<ModulePeer>(module.create(), states);
}

}  // namespace korvel::bench
