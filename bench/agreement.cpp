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
  void require(const char* what, const Eigen::MatrixXd& value, const Eigen::MatrixXd& truth) const {
    const bool same_size = value.rows() == truth.rows() && value.cols() == truth.cols();
    require(what, same_size, same_size ? (value - truth).cwiseAbs().maxCoeff<Eigen::PropagateNaN>() : 0);
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

    for (Peer* p : {&peer, &reference}) p->setRootAndWrenches(state);

    for (Peer* p : {&peer, &reference}) p->computeKinematics(state);
    const auto poses = peer.poses();
    const auto true_poses = reference.poses();
    agreement.require("poses", poses.size() == true_poses.size(), 0);
    for (std::size_t b = 0; b < poses.size(); ++b) agreement.require("pose of a body", poses[b], true_poses[b]);
    agreement.require("centre of mass", peer.com(), reference.com());
    agreement.require("jacobian", peer.jacobian(), reference.jacobian());

    for (Peer* p : {&peer, &reference}) p->computeMass(state);
    const auto scale = mass_scale.cwiseInverse().asDiagonal();
    agreement.require("mass matrix", scale * peer.mass() * scale, scale * reference.mass() * scale);

    for (Peer* p : {&peer, &reference}) p->computeDynamics(state);
    const Eigen::VectorXd true_torques = reference.torques();
    const double torque_scale = true_torques.cwiseAbs().maxCoeff();
    agreement.require("torques", peer.torques() / torque_scale, true_torques / torque_scale);
  }
}

}  // namespace korvel::bench
