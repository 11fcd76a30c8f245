#include "host/motion/differentiation.h"

#include <gtest/gtest.h>

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
TEST(Differentiation, FollowsASinusoidWithinTheBoundsOfTheSpline) {
  constexpr Eigen::Index count = 400;
  constexpr Eigen::Index margin = 20;
  constexpr double step = 0.01;
  constexpr double frequency = 4;
  const Eigen::ArrayXd time = uneven_times(count, step);
  const Derivatives derivatives = differentiate(time, (frequency * time).sin()).value();

  const double h = 1.6 * step;
  const double ends = std::ldexp(h * std::pow(frequency, 3), -static_cast<int>(margin));
  const double first_bound = std::pow(h, 3) * std::pow(frequency, 4) / 24 + ends * h;
  const double second_bound = 3 * h * h * std::pow(frequency, 4) / 8 + ends;
  for (Eigen::Index i = margin; i < count - margin; ++i) {
    EXPECT_NEAR(derivatives.first[i], frequency * std::cos(frequency * time[i]), first_bound);
    EXPECT_NEAR(derivatives.second[i], -frequency * frequency * std::sin(frequency * time[i]), second_bound);
  }
}

// Up to the ends, and as far as the number of samples determines the polynomial.
TEST(Differentiation, IsExactForPolynomialsOfDegreeTwo) {
  for (const Eigen::Index count : {1, 2, 3, 4, 50}) {
    const double b = count > 1 ? -2 : 0;
    const double c = count > 2 ? 5 : 0;
    const Eigen::ArrayXd time = uneven_times(count, 0.1);
    const Derivatives derivatives = differentiate(time, 3 + b * time + c * time.square()).value();
    ASSERT_EQ(derivatives.first.size(), count);
    ASSERT_EQ(derivatives.second.size(), count);
    // Rounding of values up to 120, divided by steps of 0.04 once and twice.
    EXPECT_LT((derivatives.first - (b + 2 * c * time)).abs().maxCoeff(), 1e-11);
    EXPECT_LT((derivatives.second - 2 * c).abs().maxCoeff(), 1e-9);
  }
}

}  // namespace
}  // namespace korvel::host
