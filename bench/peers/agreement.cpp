#include <limits>
#include <sstream>
#include <stdexcept>

#include "bench/peers/peer.h"

namespace korvel::bench {

namespace {

double deviation(const Eigen::MatrixXd& value, const Eigen::MatrixXd& truth) {
  if (value.rows() != truth.rows() || value.cols() != truth.cols()) return std::numeric_limits<double>::infinity();
  return (value - truth).cwiseAbs().maxCoeff<Eigen::PropagateNaN>();
}

/// One beside the other.
Eigen::MatrixXd joined(const std::vector<Peer::Pose>& poses) {
  Eigen::MatrixXd all(3, 4 * static_cast<Eigen::Index>(poses.size()));
  for (std::size_t b = 0; b < poses.size(); ++b) all.middleCols<4>(4 * static_cast<Eigen::Index>(b)) = poses[b];
  return all;
}

Eigen::VectorXd vector(const std::vector<double>& values) {
  return Eigen::Map<const Eigen::VectorXd>(values.data(), static_cast<Eigen::Index>(values.size()));
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

void compare(Peer& peer, Peer& reference, std::size_t state_count, const Compared& compared) {
  const Eigen::VectorXd true_masses = vector(reference.masses());
  const auto per_mass = true_masses.cwiseInverse().asDiagonal();
  compared("masses", 0, deviation(per_mass * vector(peer.masses()), per_mass * true_masses));

  const Eigen::VectorXd scale_of_mass = mass_scale(reference, state_count);
  for (std::size_t state = 0; state < state_count; ++state) {
    for (Peer* p : {&peer, &reference}) p->set_root_and_wrenches(state);

    for (Peer* p : {&peer, &reference}) p->compute_kinematics(state);
    compared("poses", state, deviation(joined(peer.poses()), joined(reference.poses())));
    compared("centre of mass", state, deviation(peer.com(), reference.com()));
    compared("jacobian", state, deviation(peer.jacobian(), reference.jacobian()));

    for (Peer* p : {&peer, &reference}) p->compute_mass(state);
    const auto scale = scale_of_mass.cwiseInverse().asDiagonal();
    compared("mass matrix", state, deviation(scale * peer.mass() * scale, scale * reference.mass() * scale));

    for (Peer* p : {&peer, &reference}) p->compute_dynamics(state);
    const Eigen::VectorXd true_torques = reference.torques();
    const double torque_scale = true_torques.cwiseAbs().maxCoeff();
    compared("torques", state, deviation(peer.torques() / torque_scale, true_torques / torque_scale));
  }
}

void require_agreement(const std::string& name, Peer& peer, Peer& reference, std::size_t state_count) {
  constexpr double tolerance = 1e-4;
  compare(peer, reference, state_count, [&](const char* quantity, std::size_t state, double deviation) {
    // NaN is no agreement either.
    if (deviation <= tolerance) return;
    std::ostringstream text;
    text << name << " does not agree with the module: " << quantity << ", state " << state << ", off by " << deviation
         << " of its scale";
    throw std::runtime_error(text.str());
  });
}

}  // namespace korvel::bench
