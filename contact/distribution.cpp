#include "contact/distribution.h"

#include <Eigen/Cholesky>
#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>

namespace korvel::contact {

namespace {

using Vector6 = Eigen::Matrix<double, 6, 1>;
using Matrix6 = Eigen::Matrix<double, 6, 6>;

/// The dual of the distribution of w, in units of the weight and of moment_length.
class Dual {
 public:
  Dual(const Vector6& w, const std::vector<ContactPoint>& points) : w_(w), points_(points) {
    for (const ContactPoint& point : points) {
      const Eigen::Vector3d r = point.position / moment_length;
      Arm A;
      A << Eigen::Matrix3d::Identity(),
          (Eigen::Matrix3d() << 0, -r.z(), r.y(), r.z(), 0, -r.x(), -r.y(), r.x(), 0).finished();
      arms_.push_back(A);
    }
  }

  /// The minimum for eps -> 0.
  Vector6 solution() const {
    constexpr double eps = 1e-10;
    // Every point bears at the start, so that the curvature is that of all of them.
    const Vector6 start = Vector6::Unit(2);
    const Minimum direct = minimum(start, eps, 15);
    return direct.found ? direct.y : along_path(start, eps);
  }

  std::vector<Eigen::Vector3d> forces(const Vector6& y) const {
    std::vector<Eigen::Vector3d> forces;
    for (std::size_t i = 0; i < points_.size(); ++i) {
      forces.emplace_back(points_[i].compliance * points_[i].cone.nearest(arms_[i].transpose() * y).force);
    }
    return forces;
  }

  /// What forces do not give of w.
  Vector6 missing(const std::vector<Eigen::Vector3d>& forces) const {
    Vector6 missing = w_;
    for (std::size_t i = 0; i < forces.size(); ++i) missing -= arms_[i] * forces[i];
    return missing;
  }

 private:
  using Arm = Eigen::Matrix<double, 6, 3>;  // from a force to its wrench

  struct Expansion {
    double value;
    Vector6 gradient;
    Matrix6 curvature;
  };
  struct Minimum {
    Vector6 y;
    bool found;
  };

  Expansion at(const Vector6& y, double eps) const {
    Expansion f{eps / 2 * y.squaredNorm() - w_.dot(y), eps * y - w_, eps * Matrix6::Identity()};
    for (std::size_t i = 0; i < points_.size(); ++i) {
      const double D = points_[i].compliance;
      const FrictionCone::Projection P = points_[i].cone.nearest(arms_[i].transpose() * y);
      f.value += D / 2 * P.force.squaredNorm();
      f.gradient += D * (arms_[i] * P.force);
      f.curvature += D * (arms_[i] * P.derivative * arms_[i].transpose());
    }
    return f;
  }

  /// By Newton's method with a line search.
  Minimum minimum(Vector6 y, double eps, int most_iterations) const {
    Expansion f = at(y, eps);
    for (int i = 0; i < most_iterations; ++i) {
      // Relative to y too: where the wrench cannot be borne, y is as large as 1 / eps.
      if (f.gradient.norm() < 1e-10 + 1e-14 * y.norm()) return {y, true};
      const Vector6 step = f.curvature.ldlt().solve(-f.gradient);
      const double slope = f.gradient.dot(step);
      double length = 1;
      Expansion next = at(y + step, eps);
      // Near the minimum the value has no digits left to decrease, the gradient has.
      while (next.value > f.value + 1e-4 * length * slope && next.gradient.norm() > 0.9 * f.gradient.norm() &&
             length > 1e-10) {
        length /= 2;
        next = at(y + length * step, eps);
      }
      y += length * step;
      f = next;
    }
    return {y, false};
  }

  /// Where the wrench cannot be borne, the minimum is 1 / eps away from any start, along curved surfaces. It is
  /// followed from a large eps to the small one: either it hardly moves, or it moves out with 1 / eps.
  Vector6 along_path(Vector6 y, double eps) const {
    constexpr int steps = 4;
    constexpr double ratio = 100;
    double current = std::pow(ratio, steps) * eps;
    y = minimum(y, current, 50).y;
    for (int i = 0; i < steps; ++i) {
      current /= ratio;
      const Vector6 farther = ratio * y;
      const bool moves_out = at(farther, current).gradient.norm() < at(y, current).gradient.norm();
      y = minimum(moves_out ? farther : y, current, 50).y;
    }
    return y;
  }

  const Vector6 w_;
  const std::vector<ContactPoint>& points_;
  std::vector<Arm> arms_;
};

}  // namespace

Distribution distribute(const Wrench& wrench, const std::vector<ContactPoint>& points, double weight) {
  Vector6 w;
  w << wrench.force / weight, wrench.moment / (weight * moment_length);
  const Dual dual(w, points);
  Distribution result;
  if (!points.empty()) result.forces = dual.forces(dual.solution());
  const Vector6 missing = dual.missing(result.forces);
  for (Eigen::Vector3d& force : result.forces) force *= weight;
  result.residual = missing.norm();
  result.missing = {weight * missing.head<3>(), weight * moment_length * missing.tail<3>()};
  return result;
}

double least_friction(const Wrench& wrench, std::vector<ContactPoint> points, double weight, double known) {
  constexpr double most = 100;
  if (known > most) return known;
  const auto residual = [&](double friction) {
    for (ContactPoint& point : points) point.cone.friction = friction;
    return distribute(wrench, points, weight).residual;
  };
  // What no friction bears, within the residual that counts as borne, is not asked of it.
  double borne = 1e-6;
  if (residual(known) <= borne) return known;
  const double without_slip = residual(most);
  if (without_slip > feasible_residual) return std::numeric_limits<double>::infinity();
  borne += without_slip;
  if (residual(known) <= borne) return known;
  double below = known;
  double above = std::max(1.0, 2 * known);
  while (above < most && residual(above) > borne) {
    below = above;
    above = std::min(2 * above, most);
  }
  while (above - below > 1e-3 * above) {
    const double middle = (below + above) / 2;
    (residual(middle) <= borne ? above : below) = middle;
  }
  return above;
}

}  // namespace korvel::contact
