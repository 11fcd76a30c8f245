#include <algorithm>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "bench/peers/peer.h"

namespace korvel::bench {

namespace {

Quantities all_of(Peer& peer, std::size_t state) {
  peer.set_root_and_wrenches(state);
  peer.compute_kinematics(state);
  peer.compute_mass(state);
  peer.compute_dynamics(state);
  return peer.quantities();
}

double deviation(const Eigen::MatrixXd& value, const Eigen::MatrixXd& truth, const Eigen::MatrixXd& scale) {
  const bool has_numbers = !value.hasNaN() && !truth.hasNaN();
  const bool is_comparable = value.rows() == truth.rows() && value.cols() == truth.cols() && has_numbers;
  return is_comparable ? (value - truth).cwiseQuotient(scale).cwiseAbs().maxCoeff()
                       : std::numeric_limits<double>::infinity();
}

}  // namespace

std::array<double, quantity_count> compare(Peer& peer, Peer& reference, std::size_t state_count) {
  std::vector<Quantities> truths;
  Eigen::VectorXd inertias;
  for (std::size_t state = 0; state < state_count; ++state) {
    truths.push_back(all_of(reference, state));
    // Some joint inertias all but vanish in a pose of their own.
    const Eigen::VectorXd diagonal = truths.back()[mass].diagonal();
    inertias = state == 0 ? diagonal : inertias.cwiseMax(diagonal).eval();
  }
  std::array<double, quantity_count> largest{};
  for (std::size_t state = 0; state < state_count; ++state) {
    const Quantities values = all_of(peer, state);
    for (std::size_t q = 0; q < quantity_count; ++q) {
      const Eigen::MatrixXd& truth = truths[state][q];
      Eigen::MatrixXd scale = Eigen::MatrixXd::Ones(truth.rows(), truth.cols());
      if (q == masses) scale = truth;
      if (q == mass) scale = (inertias * inertias.transpose()).cwiseSqrt();
      if (q == torques) scale *= truth.cwiseAbs().maxCoeff();
      largest[q] = std::max(largest[q], deviation(values[q], truth, scale));
    }
  }
  return largest;
}

void require_agreement(const std::string& name, Peer& peer, Peer& reference, std::size_t state_count) {
  constexpr double tolerance = 1e-4;
  const std::array<double, quantity_count> deviations = compare(peer, reference, state_count);
  for (std::size_t q = 0; q < quantity_count; ++q) {
    if (deviations[q] <= tolerance) continue;
    std::ostringstream text;
    text << name << " does not agree with the module: " << quantity_names[q] << ", off by " << deviations[q]
         << " of its scale";
    throw std::runtime_error(text.str());
  }
}

}  // namespace korvel::bench
