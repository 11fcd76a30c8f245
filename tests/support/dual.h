#pragma once

#include <Eigen/Core>
#include <cmath>
#include <vector>

#include "contract/states.h"
#include "metapod/algos/rnea.h"
#include "metapod/algos/rnea_derivatives.h"

namespace korvel::tests {

/// A double with its derivative in one direction, as the number of a model. Products follow the rules of derivatives,
/// so an algorithm over these numbers differentiates itself without a difference of nearly equal values.
///
/// The robot's table has the cosine of 45 degrees to six digits. Formulas of derivatives rely on rotations that are
/// orthonormal, so an exact table has all digits in its place.
template <bool with_exact_table>
struct DualOf {
  using Dual = DualOf;

  DualOf() = default;
  explicit constexpr DualOf(double value) noexcept : x(with_exact_table ? exact(value) : value) {}
  constexpr DualOf(double value, double derivative) noexcept : x(value), d(derivative) {}

  friend constexpr Dual operator+(const Dual& a, const Dual& b) noexcept { return {a.x + b.x, a.d + b.d}; }
  friend constexpr Dual operator-(const Dual& a, const Dual& b) noexcept { return {a.x - b.x, a.d - b.d}; }
  friend constexpr Dual operator-(const Dual& a) noexcept { return {-a.x, -a.d}; }
  friend constexpr Dual operator*(const Dual& a, const Dual& b) noexcept { return {a.x * b.x, a.d * b.x + a.x * b.d}; }

  double x{};
  double d{};

 private:
  static constexpr double exact(double value) noexcept {
    constexpr double digits = 0.707107F;
    constexpr double half_of_root = 0.70710678118654752;
    return value < digits || value > digits ? (-value < digits || -value > digits ? value : -half_of_root)
                                            : half_of_root;
  }
};

template <typename Node, bool with_exact_table>
void add_to_parent(DualOf<with_exact_table>& sum, const DualOf<with_exact_table>& own) noexcept {
  sum = sum + own;
}

/// A robot over these numbers, one body for each node.
template <typename Robot, typename Dual>
struct DualModel : metapod::models::Tree<Robot, metapod::models::OneBodyPerNode<Robot, Dual>> {
  using Steps = metapod::Spatial::StepsInlined;

  template <int id>
  auto inertia() const noexcept {
    return metapod::to_child<Dual>(Robot::bodies[id].inertia);
  }
  template <int id>
  const auto& body_inertia() const noexcept {
    return Robot::bodies[id].inertia;
  }
};

/// Inputs of the algorithms: a state, and the direction in which derivatives are taken.
template <typename Robot, typename Dual>
struct DualState {
  static constexpr int count = metapod::models::dof_count_of<Robot>();
  static constexpr auto size = static_cast<std::size_t>(count);
  using Direction = Eigen::VectorXd;

  explicit DualState(const State& state) {
    for (int k = 0; k < count; ++k) {
      q[k] = Dual(static_cast<double>(state.q(k)), 0);
      dq[k] = Dual(static_cast<double>(state.dq(k)), 0);
      ddq[k] = Dual(static_cast<double>(state.ddq(k)), 0);
    }
    wrenches = state.wrenches.cast<double>();
    take_sines();
  }

  /// Moves and turns the root along its own axes, and turns joints. Roll, pitch and yaw follow by the inverse of their
  /// rates' matrix.
  void set_position_direction(const Direction& e) {
    const double roll = q[3].x;
    const double pitch = q[4].x;
    const double s = std::sin(roll) * e(4) + std::cos(roll) * e(5);
    q[3].d = e(3) + std::tan(pitch) * s;
    q[4].d = std::cos(roll) * e(4) - std::sin(roll) * e(5);
    q[5].d = s / std::cos(pitch);
    for (int k = 6; k < count; ++k) q[k].d = e(k);
    take_sines();
  }
  void set_velocity_direction(const Direction& e) {
    for (int k = 0; k < count; ++k) dq[k].d = e(k);
  }

  /// Sines and cosines, as the algorithms ask for them.
  template <typename Node>
  typename Node::Joint::Positions of(const Dual* positions) const noexcept {
    using metapod::internal::gather_coordinates;
    return {gather_coordinates<Node>(positions), gather_coordinates<Node>(sine), gather_coordinates<Node>(cosine)};
  }

  /// The wrench on a body, as the algorithms ask for it.
  template <int body>
  metapod::Spatial::ForceT<Dual> on() const noexcept {
    const auto at = [&](int row) { return Dual(wrenches(row, body), 0); };
    return {{at(3), at(4), at(5)}, {at(0), at(1), at(2)}};
  }

  Dual q[size], dq[size], ddq[size];

 private:
  void take_sines() {
    for (int k = 0; k < count; ++k) {
      sine[k] = {std::sin(q[k].x), std::cos(q[k].x) * q[k].d};
      cosine[k] = {std::cos(q[k].x), -std::sin(q[k].x) * q[k].d};
    }
  }

  Dual sine[size], cosine[size];
  Eigen::MatrixXd wrenches;
};

/// The motion of a state, as the algorithms ask for it.
template <typename Robot, typename Dual>
struct DualMotion {
  const Dual *q, *dq, *ddq;
  const DualState<Robot, Dual>&angles, &external;
};

/// Derivatives of the forces of `rnea` in the directions that are set.
template <typename Robot, typename Dual>
Eigen::VectorXd force_derivative(const DualState<Robot, Dual>& state) {
  using Model = DualModel<Robot, Dual>;
  Model model;
  Dual forces[DualState<Robot, Dual>::size];
  metapod::rnea<Model, metapod::with_jcalc>::run(model, state.q, state, state.dq, state.ddq, state, forces);
  Eigen::VectorXd derivative(DualState<Robot, Dual>::count);
  for (int k = 0; k < derivative.size(); ++k) derivative(k) = forces[k].d;
  return derivative;
}

/// Derivatives of the forces as an algorithm writes them, dense.
template <typename Dual>
struct Matrices {
  explicit Matrices(int n)
      : forces(static_cast<std::size_t>(n)), count(n), position(forces.size() * forces.size()), velocity(position) {}

  Dual& force(int row) { return forces[static_cast<std::size_t>(row)]; }
  struct Row {
    Dual& position(int column) const { return positions[column]; }
    Dual& velocity(int column) const { return velocities[column]; }
    Dual *positions, *velocities;
  };
  Row row(int row) { return {position.data() + row * count, velocity.data() + row * count}; }

  static Eigen::MatrixXd values(const std::vector<Dual>& numbers, Eigen::Index rows) {
    Eigen::MatrixXd matrix(rows, static_cast<Eigen::Index>(numbers.size()) / rows);
    for (std::size_t k = 0; k < numbers.size(); ++k) {
      const auto place = static_cast<Eigen::Index>(k);
      matrix(place / matrix.cols(), place % matrix.cols()) = numbers[k].x;
    }
    return matrix;
  }

  std::vector<Dual> forces;
  int count;
  std::vector<Dual> position, velocity;
};

template <typename Robot, typename Dual>
Matrices<Dual> differentiated(const DualState<Robot, Dual>& state) {
  using Model = DualModel<Robot, Dual>;
  Matrices<Dual> results(DualState<Robot, Dual>::count);
  metapod::rnea_derivatives<Model, Matrices<Dual>>::run(
      Model{}, DualMotion<Robot, Dual>{state.q, state.dq, state.ddq, state, state}, results);
  return results;
}

}  // namespace korvel::tests
