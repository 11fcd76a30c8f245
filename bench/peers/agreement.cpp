#include <algorithm>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "bench/peers/peer.h"

namespace korvel::bench {

namespace {

double deviation(const Eigen::MatrixXd& value, const Eigen::MatrixXd& truth) {
  const bool is_comparable = value.rows() == truth.rows() && value.cols() == truth.cols() && !value.hasNaN();
  return is_comparable ? (value - truth).cwiseAbs().maxCoeff() : std::numeric_limits<double>::infinity();
}

/// The largest diagonal entries of the mass matrix: some joint inertias all but vanish in a pose of their own.
Eigen::VectorXd mass_scale(Peer& reference, std::size_t state_count) {
  reference.compute_mass(0);
  Eigen::VectorXd scale = reference.mass().diagonal();
  for (std::size_t state = 1; state < state_count; ++state) {
    reference.compute_mass(state);
    scale = scale.cwiseMax(reference.mass().diagonal()).eval();
  }
  return scale.cwiseSqrt();
}

}  // namespace

std::array<Deviation, 6> compare(Peer& peer, Peer& reference, std::size_t state_count) {
  std::array<Deviation, 6> deviations{
      {{"masses", 0}, {"poses", 0}, {"centre of mass", 0}, {"jacobian", 0}, {"mass matrix", 0}, {"torques", 0}}};
  auto& [masses, poses, com, jacobian, mass, torques] = deviations;
  const auto add = [](Deviation& to, const Eigen::MatrixXd& value, const Eigen::MatrixXd& truth) {
    to.largest = std::max(to.largest, deviation(value, truth));
  };
  const Eigen::VectorXd true_masses = reference.masses();
  const auto per_mass = true_masses.cwiseInverse().asDiagonal();
  add(masses, per_mass * peer.masses(), per_mass * true_masses);

  const auto scale = mass_scale(reference, state_count).cwiseInverse().eval();
  for (std::size_t state = 0; state < state_count; ++state) {
    for (Peer* p : {&peer, &reference}) p->set_root_and_wrenches(state);

    for (Peer* p : {&peer, &reference}) p->compute_kinematics(state);
    add(poses, peer.poses(), reference.poses());
    add(com, peer.com(), reference.com());
    add(jacobian, peer.jacobian(), reference.jacobian());

    for (Peer* p : {&peer, &reference}) p->compute_mass(state);
    add(mass, scale.asDiagonal() * peer.mass() * scale.asDiagonal(),
        scale.asDiagonal() * reference.mass() * scale.asDiagonal());

    for (Peer* p : {&peer, &reference}) p->compute_dynamics(state);
    const Eigen::VectorXd true_torques = reference.torques();
    const double torque_scale = true_torques.cwiseAbs().maxCoeff();
    add(torques, peer.torques() / torque_scale, true_torques / torque_scale);
  }
  return deviations;
}

void require_agreement(const std::string& name, Peer& peer, Peer& reference, std::size_t state_count) {
  constexpr double tolerance = 1e-4;
  for (const auto& [quantity, deviation] : compare(peer, reference, state_count)) {
    if (deviation <= tolerance) continue;
    std::ostringstream text;
    text << name << " does not agree with the module: " << quantity << ", off by " << deviation << " of its scale";
    throw std::runtime_error(text.str());
  }
}

}  // namespace korvel::bench
