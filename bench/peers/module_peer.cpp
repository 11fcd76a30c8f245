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

  Quantities quantities() const override {
    const auto bodies = static_cast<Eigen::Index>(robot_->getNbBodies());
    Eigen::VectorXd body_masses(bodies);
    Eigen::MatrixXd body_poses(3, 4 * bodies);
    for (Eigen::Index b = 0; b < bodies; ++b) {
      body_masses[b] = static_cast<double>(robot_->getMass(static_cast<unsigned long>(b)));
      body_poses.middleCols<4>(4 * b) = host::isometry(robot_->getPose(static_cast<unsigned long>(b))).affine();
    }
    const Eigen::Map<const Eigen::VectorXf> joint_torques(robot_->getJointAnglesTorque().first, bodies - 1);
    return {body_masses,
            body_poses,
            host::vector(robot_->getComPosition()),
            robot_->getJacobianInRoot().rightCols(bodies - 1).cast<double>(),
            robot_->getGeneralizedMass().cast<double>(),
            joint_torques.cast<double>()};
  }

 private:
  const LoadedInstants& states_;
  host::System robot_;
};

}  // namespace

std::unique_ptr<Peer> module_peer(const host::Module& module, const LoadedInstants& states) {
  return std::make_unique<ModulePeer>(module.create(), states);
}

}  // namespace korvel::bench
