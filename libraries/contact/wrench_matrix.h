#pragma once

/// Wrenches of forces at points and their quadratic forms, for any number.

#include "contact/lanes.h"
#include "metapod/spatial/inertia.h"
#include "metapod/spatial/unrolled.h"

namespace korvel::contact {

using metapod::Spatial::unrolled;
using metapod::Spatial::Vector3T;

/// A force, and a moment about a point that the context names.
template <typename Number>
struct WrenchT {
  Vector3T<Number> force, moment;
};
template <typename Number>
WrenchT<Number> operator+(const WrenchT<Number>& a, const WrenchT<Number>& b) noexcept {
  return {a.force + b.force, a.moment + b.moment};
}
template <typename Number>
WrenchT<Number> operator-(const WrenchT<Number>& a, const WrenchT<Number>& b) noexcept {
  return {a.force - b.force, a.moment - b.moment};
}
template <typename Number>
WrenchT<Number> operator*(const Number& k, const WrenchT<Number>& a) noexcept {
  return {k * a.force, k * a.moment};
}
template <typename Number>
Number dot(const WrenchT<Number>& a, const WrenchT<Number>& b) noexcept {
  return dot(a.force, b.force) + dot(a.moment, b.moment);
}

/// A: the wrench of a force at a point.
template <typename Number>
WrenchT<Number> wrench_of(const Vector3T<Number>& arm, const Vector3T<Number>& force) noexcept {
  return {force, cross(arm, force)};
}
/// A': the force that a wrench is felt as at a point.
template <typename Number>
Vector3T<Number> felt_at(const Vector3T<Number>& arm, const WrenchT<Number>& wrench) noexcept {
  return wrench.force + cross(wrench.moment, arm);
}

/// A symmetric, positive matrix of wrenches, to be inverted.
template <typename Number>
class WrenchMatrix {
 public:
  /// Begins with 1 + sum of factor A A' over points, which has the form of the inertia of point masses; add() and
  /// factorise() follow.
  explicit WrenchMatrix(const metapod::Spatial::InertiaT<Number>& of_points) noexcept {
    const Number zero(0);
    const Number one(1);
    const auto& [m, h, I] = of_points;
    const Number rows[6][6] = {{one + m},
                               {zero, one + m},
                               {zero, zero, one + m},
                               {zero, -h.z, h.y, one + I.xx},
                               {h.z, zero, -h.x, I.yx, one + I.yy},
                               {-h.y, h.x, zero, I.zx, I.zy, one + I.zz}};
    unrolled<6>([&](auto i) { unrolled<i + 1>([&](auto j) { entries_[i][j] = rows[i][j]; }); });
  }

  /// Adds factor w w'.
  void add(const Number& factor, const WrenchT<Number>& wrench) noexcept {
    const auto& [f, m] = wrench;
    const Number w[] = {f.x, f.y, f.z, m.x, m.y, m.z};
    unrolled<6>([&](auto i) {
      const Number scaled = factor * w[i];
      unrolled<i + 1>([&](auto j) { entries_[i][j] = entries_[i][j] + scaled * w[j]; });
    });
  }

  /// Factorises to L D L': L is below the diagonal, and 1 / D is on it.
  void factorise() noexcept {
    unrolled<6>([&](auto j) {
      Number scaled[6];
      Number d = entries_[j][j];
      unrolled<j>([&](auto k) {
        scaled[k] = entries_[j][k] * diagonal_[k];
        d = d - entries_[j][k] * scaled[k];
      });
      diagonal_[j] = d;
      entries_[j][j] = Number(1) / d;
      unrolled<5 - j>([&](auto below) {
        constexpr std::size_t i = below + j + 1;
        Number sum = entries_[i][j];
        unrolled<j>([&](auto k) { sum = sum - entries_[i][k] * scaled[k]; });
        entries_[i][j] = sum * entries_[j][j];
      });
    });
  }

  /// The inverse times a wrench, after factorise().
  WrenchT<Number> solve(const WrenchT<Number>& wrench) const noexcept {
    const auto& [f, m] = wrench;
    Number x[] = {f.x, f.y, f.z, m.x, m.y, m.z};
    unrolled<6>([&](auto i) { unrolled<i>([&](auto k) { x[i] = x[i] - entries_[i][k] * x[k]; }); });
    unrolled<6>([&](auto from_last) {
      constexpr std::size_t i = 5 - from_last;
      x[i] = x[i] * entries_[i][i];
      unrolled<5 - i>([&](auto below) {
        constexpr std::size_t k = below + i + 1;
        x[i] = x[i] - entries_[k][i] * x[k];
      });
    });
    return {{x[0], x[1], x[2]}, {x[3], x[4], x[5]}};
  }

 private:
  Number entries_[6][6];
  Number diagonal_[6];
};

}  // namespace korvel::contact
