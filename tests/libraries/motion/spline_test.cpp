#include "motion/spline.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <random>

namespace korvel::host {
namespace {

/// Increasing times about a mean step, the steps between 0.4 and 1.6 of it.
Eigen::ArrayXd uneven_times(Eigen::Index count, double step) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> jitter(-0.3, 0.3);
  Eigen::ArrayXd time(count);
  for (Eigen::Index i = 0; i < count; ++i) time[i] = step * (static_cast<double>(i) + jitter(random));
  return time;
}

// Away from the ends a cubic spline of step h is within h^3 f4 / 24 and 3 h^2 f4 / 8 of the derivatives, f4 bounding
// the fourth (C. Hall, W. Meyer, Optimal error bounds for cubic spline interpolation, 1976). What the ends add is
// of the size h f3 and at least halves with every sample.
TEST(Spline, FollowsASinusoidWithinTheBoundsOfInterpolation) {
  constexpr Eigen::Index count = 400;
  constexpr Eigen::Index margin = 20;
  constexpr double step = 0.01;
  constexpr double frequency = 4;
  const Eigen::ArrayXd time = uneven_times(count, step);
  const Curves curve = Spline(time).through((frequency * time).sin());

  const double h = 1.6 * step;
  const double ends = std::ldexp(h * std::pow(frequency, 3), -static_cast<int>(margin));
  const double first_bound = std::pow(h, 3) * std::pow(frequency, 4) / 24 + ends * h;
  const double second_bound = 3 * h * h * std::pow(frequency, 4) / 8 + ends;
  for (Eigen::Index i = margin; i < count - margin; ++i) {
    EXPECT_NEAR(curve.value(i), std::sin(frequency * time[i]), 1e-15);
    EXPECT_NEAR(curve.first(i), frequency * std::cos(frequency * time[i]), first_bound);
    EXPECT_NEAR(curve.second(i), -frequency * frequency * std::sin(frequency * time[i]), second_bound);
  }
}

// Up to the ends, and as far as the number of samples determines the polynomial: of degree two as they are, of degree
// one whatever the penalty.
TEST(Spline, LeavesPolynomialsAsTheyAre) {
  for (const double penalty : {0.0, 1e-6, 1e3}) {
    for (const Eigen::Index count : {1, 2, 3, 4, 50}) {
      const double b = count > 1 ? -2 : 0;
      const double c = count > 2 && penalty < 1e-9 ? 5 : 0;
      const Eigen::ArrayXd time = uneven_times(count, 0.1);
      const Eigen::ArrayXd values = 3 + b * time + c * time.square();
      const Curves curve = Spline(time, penalty).through(values);
      ASSERT_EQ(curve.first.size(), count);
      ASSERT_EQ(curve.second.size(), count);
      // Rounding of values up to 120, divided by steps of 0.04 once and twice.
      EXPECT_LT((curve.value - values).abs().maxCoeff(), 1e-11);
      EXPECT_LT((curve.first - (b + 2 * c * time)).abs().maxCoeff(), 1e-9);
      EXPECT_LT((curve.second - 2 * c).abs().maxCoeff(), 1e-9);
    }
  }
}

// The objective is a quadratic form of the values at the samples, so the spline is where its gradient vanishes: nothing
// that is added to the values makes it smaller. Its matrix is dense here, and built from splines through unit values.
TEST(Spline, MinimisesDistanceAndRoughness) {
  constexpr Eigen::Index count = 12;
  constexpr double penalty = 2e-5;
  const Eigen::ArrayXd time = uneven_times(count, 0.1);
  const Eigen::ArrayXd steps = time.tail(count - 1) - time.head(count - 1);
  Eigen::MatrixXd second(count, count);
  for (Eigen::Index i = 0; i < count; ++i) second.col(i) = Spline(time).through(Eigen::VectorXd::Unit(count, i)).second;
  // The integral of the square of a function that is straight in every interval; the first and the last count half.
  Eigen::MatrixXd roughness = Eigen::MatrixXd::Zero(count, count);
  Eigen::ArrayXd weights = Eigen::ArrayXd::Zero(count);
  for (Eigen::Index i = 0; i + 1 < count; ++i) {
    const double share = i == 0 || i + 2 == count ? 0.5 : 1;
    const Eigen::RowVectorXd a = second.row(i);
    const Eigen::RowVectorXd b = second.row(i + 1);
    roughness +=
        share * steps[i] / 3 * (a.transpose() * a + b.transpose() * b + (a.transpose() * b + b.transpose() * a) / 2);
    weights.segment(i, 2) += steps[i] / 2;
  }
  const Eigen::MatrixXd distance = weights.matrix().asDiagonal();
  const Eigen::VectorXd samples = (7 * time).sin() + Eigen::ArrayXd::Random(count);
  const Eigen::VectorXd best = (distance + penalty * roughness).ldlt().solve(distance * samples);
  const Curves curve = Spline(time, penalty).through(samples);
  EXPECT_LT((curve.value.matrix() - best).cwiseAbs().maxCoeff(), 1e-9);
  EXPECT_LT((curve.second.matrix() - second * best).cwiseAbs().maxCoeff(), 1e-6);
}

// The amplitude of a sinusoid in the middle of a long run is what the docstring says, on even and on uneven samples.
TEST(Spline, PassesHalfThePowerAtTheCutoff) {
  constexpr double cutoff = 5;
  EXPECT_NEAR(cutoff_of_penalty(penalty_of_cutoff(cutoff)), cutoff, 1e-12);
  for (const double frequency : {0.5, 5.0, 10.0}) {
    const double w = 2 * std::acos(-1.0) * frequency;
    const double passed = 1 / (1 + (std::sqrt(2.0) - 1) * std::pow(frequency / cutoff, 4));
    const Eigen::ArrayXd even = Eigen::ArrayXd::LinSpaced(4001, 0, 8);
    const Curves on_even = Spline(even, penalty_of_cutoff(cutoff)).through((w * even).sin());
    EXPECT_LT((on_even.value - passed * (w * even).sin()).middleRows(1500, 1000).abs().maxCoeff(), 1e-4) << frequency;
    EXPECT_LT((on_even.second + w * w * passed * (w * even).sin()).middleRows(1500, 1000).abs().maxCoeff(),
              1e-3 * w * w);
    const Eigen::ArrayXd uneven = uneven_times(4001, 0.002);
    const Curves on_uneven = Spline(uneven, penalty_of_cutoff(cutoff)).through((w * uneven).sin());
    EXPECT_LT((on_uneven.value - passed * (w * uneven).sin()).middleRows(1500, 1000).abs().maxCoeff(), 0.01)
        << frequency;
  }
  EXPECT_NEAR(1 / std::pow(1 + (std::sqrt(2.0) - 1), 2), 0.5, 1e-15);
}

}  // namespace
}  // namespace korvel::host
