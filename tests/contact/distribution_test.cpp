#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "distribution_cases.h"

namespace korvel::contact {
namespace {

constexpr double weight = tests::DistributionCase::weight;

Wrench sum(const std::vector<ContactPoint>& points, const std::vector<Eigen::Vector3d>& forces) {
  Wrench total;
  for (std::size_t i = 0; i < points.size(); ++i) {
    total.force += forces[i];
    total.moment += points[i].position.cross(forces[i]);
  }
  return total;
}

/// The largest component along an edge of a friction cone of the force of which the moment of `wrench`, scaled, is felt
/// at a point: positive if a force there would bring the sum nearer to what is missing.
double gain(const Wrench& missing, const ContactPoint& point) {
  const Eigen::Vector3d moment = missing.moment / (moment_length * moment_length);
  const Eigen::Vector3d felt = missing.force + moment.cross(point.position);
  return felt.z() + point.cone.friction * std::hypot(felt.x(), felt.y());
}

// What is missing is the least that can be missing: no force within a cone would lessen it, and it does no work on
// those that are there, but for what the regularisation leaves. Up to rounding: of an iteration whose unknowns are 1e10
// times as large as what is missing. These conditions are enough: J. J. Moreau, 1962, a cone and its polar.
TEST(Distribution, ForcesAreInTheirConesAndAsNearAsTheyCanBe) {
  int borne = 0;
  for (std::uint64_t seed = 0; seed < 10000; ++seed) {
    const tests::DistributionCase one = tests::distribution_case(seed);
    const Distribution distribution = distribute(one.wrench, one.points, weight);
    ASSERT_EQ(distribution.forces.size(), one.points.size());
    double largest = weight;
    for (std::size_t i = 0; i < one.points.size(); ++i) {
      const Eigen::Vector3d& f = distribution.forces[i];
      largest = std::max(largest, f.norm());
      EXPECT_GE(f.z(), 0) << seed;
      EXPECT_LE(std::hypot(f.x(), f.y()), one.points[i].cone.friction * f.z() + 1e-12 * f.norm()) << seed;
    }
    const Wrench total = sum(one.points, distribution.forces);
    EXPECT_LT((total.force + distribution.missing.force - one.wrench.force).norm(), 1e-9 * largest) << seed;
    EXPECT_LT((total.moment + distribution.missing.moment - one.wrench.moment).norm(), 1e-9 * largest) << seed;

    const Wrench& missing = distribution.missing;
    EXPECT_NEAR(std::hypot(missing.force.norm(), missing.moment.norm() / moment_length), weight * distribution.residual,
                1e-9 * weight);
    const double rounding = 1e-6 + 3e-4 * distribution.residual;
    double work = 0;
    double regularised = 0;
    for (std::size_t i = 0; i < one.points.size(); ++i) {
      EXPECT_LT(gain(missing, one.points[i]), rounding * weight) << seed;
      const Eigen::Vector3d moment = missing.moment / (moment_length * moment_length);
      work += (missing.force + moment.cross(one.points[i].position)).dot(distribution.forces[i]);
      regularised += 1e-10 * distribution.forces[i].squaredNorm() / one.points[i].compliance;
    }
    EXPECT_NEAR(work, regularised, 0.1 * regularised + rounding * weight * largest) << seed;
    borne += distribution.residual <= feasible_residual;
  }
  EXPECT_GT(borne, 2000);
  EXPECT_LT(borne, 8000);
}

// One foot, level, with a vertical load: each corner has the share that a plate on springs has.
TEST(Distribution, LoadIsSpreadEvenly) {
  std::vector<ContactPoint> points;
  for (const double x : {-0.05, 0.05}) {
    for (const double y : {-0.04, 0.04}) points.push_back({{x, y, 0}, {0.5}, 1});
  }
  const double offset = 0.02;
  const Distribution distribution = distribute({{0, 0, weight}, {0, -offset * weight, 0}}, points, weight);
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double share = 0.25 * (1 + offset * points[i].position.x() / (0.05 * 0.05));
    EXPECT_NEAR(distribution.forces[i].z(), share * weight, 1e-7 * weight);
  }
}

TEST(Distribution, LeastFrictionOfAPushIsItsSlope) {
  std::vector<ContactPoint> points{{{0.1, 0, 0}, {0.6}, 1}, {{-0.1, 0.1, 0}, {0.6}, 1}, {{-0.1, -0.1, 0}, {0.6}, 1}};
  for (const double angle : {0.0, 0.4, 1.0, 2.5}) {
    const Wrench push{{0.3 * weight * std::cos(angle), 0.3 * weight * std::sin(angle), weight}, {0, 0, 0}};
    EXPECT_NEAR(least_friction(push, points, weight), 0.3, 2e-3) << angle;
    // What is known to be needed already is not looked for below.
    EXPECT_EQ(least_friction(push, points, weight, 0.4), 0.4);
  }
  const Wrench pull{{0, 0, -weight}, {0, 0, 0}};
  EXPECT_EQ(least_friction(pull, points, weight), std::numeric_limits<double>::infinity());
}

TEST(Distribution, WithoutAPointAllIsMissing) {
  EXPECT_DOUBLE_EQ(distribute({{0, 0, weight}, {0, 0, 0}}, {}, weight).residual, 1);
  EXPECT_EQ(distribute({{0, 0, 0}, {0, 0, 0}}, {}, weight).residual, 0);
}

}  // namespace
}  // namespace korvel::contact
