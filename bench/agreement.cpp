#include "bench/agreement.h"

#include <sstream>
#include <stdexcept>

namespace korvel::bench {

namespace {

constexpr double tolerance = 1e-4;

class Agreement {
 public:
  Agreement(const std::string& name, std::size_t state) : name_(name), state_(state) {}

  void require(const char* what, bool same_size, double difference) const {
    // Not a number is no agreement either.
    if (same_size && difference <= tolerance) return;
    std::ostringstream text;
    text << name_ << " does not agree with the module: " << what << ", state " << state_ << ", ";
    same_size ? text << "off by " << difference << " of its scale" : text << "of another size";
    throw std::runtime_error(text.str());
  }

 private:
  const std::string& name_;
  std::size_t state_;
};

/// The largest diagonal entries of the mass matrix: some joint inertias all but vanish in a pose of their own.
Eigen::VectorXd massScale(Peer& reference, std::size_t state_count) {
  reference.computeMass(0);
  Eigen::VectorXd scale = reference.mass().diagonal();
  for (std::size_t state = 1; state < state_count; ++state) {
    reference.computeMass(state);
    scale = scale.cwiseMax(reference.mass().diagonal()).eval();
  }
  return scale.cwiseSqrt();
}

}  // namespace

void requireAgreement(const std::string& name, Peer& peer, Peer& reference, std::size_t state_count) {
  const Eigen::VectorXd mass_scale = massScale(reference, state_count);
  for (std::size_t state = 0; state < state_count; ++state) {
    const Agreement agreement(name, state);

    for (Peer* p : {&peer, &reference}) p->computeKinematics(state);
    const auto poses = peer.poses();
    const auto true_poses = reference.poses();
    agreement.require("poses", poses.size() == true_poses.size(), 0);
    for (std::size_t b = 0; b < poses.size(); ++b) {
      agreement.require("pose of a body", true, (poses[b] - true_poses[b]).cwiseAbs().maxCoeff<Eigen::PropagateNaN>());
    }

    for (Peer* p : {&peer, &reference}) p->computeMass(state);
    const Eigen::MatrixXd mass = peer.mass();
    const Eigen::MatrixXd true_mass = reference.mass().bottomRightCorner(mass.rows(), mass.cols());
    const auto scale = mass_scale.tail(mass.rows()).cwiseInverse().asDiagonal();
    agreement.require("mass matrix", mass.rows() == mass.cols() && mass.rows() > 0,
                      (scale * (mass - true_mass) * scale).cwiseAbs().maxCoeff<Eigen::PropagateNaN>());

    for (Peer* p : {&peer, &reference}) p->computeDynamics(state);
    const Eigen::VectorXd torques = peer.torques();
    const Eigen::VectorXd true_torques = reference.torques();
    agreement.require("torques", torques.size() == true_torques.size(), 0);
    agreement.require("torques", true,
                      (torques - true_torques).cwiseAbs().maxCoeff<Eigen::PropagateNaN>() /
                          true_torques.cwiseAbs().maxCoeff<Eigen::PropagateNaN>());
  }
}

}  // namespace korvel::bench
