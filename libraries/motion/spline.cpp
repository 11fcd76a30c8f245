#include "motion/spline.h"

#include <cmath>
#include <vector>

namespace korvel::host {

namespace {

using Eigen::ArrayXd;
using Eigen::Index;
using Matrix = Eigen::SparseMatrix<double>;
using Triplets = std::vector<Eigen::Triplet<double>>;

Matrix matrix(Index rows, Index cols, const Triplets& entries) {
  Matrix result(rows, cols);
  result.setFromTriplets(entries.begin(), entries.end());
  return result;
}

/// Q^T: row i takes the slope before inner sample i + 1 from the slope after it.
Matrix slope_differences(const ArrayXd& steps) {
  Triplets entries;
  for (Index i = 0; i + 1 < steps.size(); ++i) {
    entries.emplace_back(i, i, 1 / steps[i]);
    entries.emplace_back(i, i + 1, -1 / steps[i] - 1 / steps[i + 1]);
    entries.emplace_back(i, i + 2, 1 / steps[i + 1]);
  }
  return matrix(steps.size() - 1, steps.size() + 1, entries);
}

/// R: times the second derivatives at the inner samples, the differences of the slopes of a cubic spline whose second
/// derivative is constant in the first and last interval.
Matrix continuity(const ArrayXd& steps) {
  const Index inner = steps.size() - 1;
  Triplets entries;
  for (Index i = 0; i < inner; ++i) {
    entries.emplace_back(i, i, (steps[i] + steps[i + 1]) / 3);
    if (i + 1 < inner) {
      entries.emplace_back(i, i + 1, steps[i + 1] / 6);
      entries.emplace_back(i + 1, i, steps[i + 1] / 6);
    }
  }
  entries.emplace_back(0, 0, steps[0] / 6);
  entries.emplace_back(inner - 1, inner - 1, steps[inner] / 6);
  return matrix(inner, inner, entries);
}

}  // namespace

Spline::Spline(const ArrayXd& time, double penalty) : steps_(time.tail(time.size() - 1) - time.head(time.size() - 1)) {
  if (time.size() < 3) return;
  weights_ = ArrayXd::Zero(time.size());
  weights_.head(steps_.size()) += steps_ / 2;
  weights_.tail(steps_.size()) += steps_ / 2;
  weights_ = penalty / weights_;
  differences_ = slope_differences(steps_);
  Matrix system = continuity(steps_);
  if (penalty > 0) system += Matrix(differences_ * weights_.matrix().asDiagonal() * differences_.transpose());
  system_.compute(system);
  is_defined_ = system_.info() == Eigen::Success && (system_.vectorD().array() > 0).all();
}

Curves Spline::through(const Eigen::ArrayXXd& values) const {
  const Index n = values.rows();
  const Eigen::ArrayXXd zero = Eigen::ArrayXXd::Zero(n, values.cols());
  Curves curves{values, zero, zero};
  auto& [g, dg, ddg] = curves;
  if (n < 2) return curves;
  if (n > 2) {
    ddg.middleRows(1, n - 2) = system_.solve(differences_ * values.matrix()).array();
    g -= (differences_.transpose() * ddg.middleRows(1, n - 2).matrix()).array().colwise() * weights_;
    ddg.row(0) = ddg.row(1);
    ddg.row(n - 1) = ddg.row(n - 2);
  }
  const Eigen::ArrayXXd slopes = (g.bottomRows(n - 1) - g.topRows(n - 1)).colwise() / steps_;
  dg.topRows(n - 1) = slopes - (2 * ddg.topRows(n - 1) + ddg.bottomRows(n - 1)).colwise() * steps_ / 6;
  dg.row(n - 1) = slopes.row(n - 2) + steps_[n - 2] * (ddg.row(n - 2) + 2 * ddg.row(n - 1)) / 6;
  return curves;
}

// The response falls by a factor e within the root of two times the fourth root of the penalty.
double reach(double penalty) { return 40 * std::sqrt(2.0) * std::pow(penalty, 0.25); }

namespace {

// (1 / (1 + penalty w^4))^2 = 1/2.
const double half_power = std::sqrt(2.0) - 1;
const double turn = 2 * std::acos(-1.0);

}  // namespace

double penalty_of_cutoff(double frequency) { return half_power / std::pow(turn * frequency, 4); }
double cutoff_of_penalty(double penalty) { return std::pow(half_power / penalty, 0.25) / turn; }

}  // namespace korvel::host
