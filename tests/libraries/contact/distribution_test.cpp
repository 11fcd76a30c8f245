#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "contact/required_wrench.h"
#include "contact/stance.h"
#include "distribution_cases.h"

namespace korvel::contact {
namespace {

using Eigen::Vector3d;
using tests::DistributionCase;

/// The force as which a wrench is felt at a point.
Vector3d felt(const Wrench& wrench, const DistributionCase::Point& point) {
  return wrench.force + wrench.moment.cross(point.arm);
}

/// Expects the missing wrench to be the smallest possible: no force within a cone would reduce it, and it does no work
/// on the forces found, except for what the regularisation leaves. These conditions are sufficient: J. J. Moreau, 1962,
/// a cone and its polar.
void expect_nearest(const DistributionCase& one, const Loads<double>& loads) {
  const double size = std::max(1.0, loads.size);
  Wrench missing = one.load;
  double work = 0;
  for (std::size_t i = 0; i < one.points.size(); ++i) {
    const Vector3d f = loads.size * vector(loads.points[i].force);
    EXPECT_GE(f.z(), 0);
    EXPECT_LE(f.head<2>().norm(), one.friction * f.z() + 1e-12 * f.norm());
    missing.force -= f;
    missing.moment -= one.points[i].arm.cross(f);
  }
  for (std::size_t i = 0; i < one.points.size(); ++i) {
    const Vector3d v = felt(missing, one.points[i]);
    EXPECT_LT(v.z() + one.friction * v.head<2>().norm(), 2e-7 * size);
    work += v.dot(loads.size * vector(loads.points[i].force));
  }
  EXPECT_NEAR(work, 0, 2e-7 * size * size);
  EXPECT_NEAR(std::hypot(missing.force.norm(), missing.moment.norm()), loads.residual(), 1e-9 * size);
}

TEST(Distribution, ForcesAreInTheirConesAndAsNearAsTheyCanBe) {
  int borne = 0;
  for (std::uint64_t seed = 0; seed < 5000; ++seed) {
    SCOPED_TRACE(seed);
    const DistributionCase one = tests::distribution_case(seed);
    const Loads<double> loads = one.distributed();
    expect_nearest(one, loads);
    borne += loads.residual() <= feasible_residual;
  }
  EXPECT_GT(borne, 1000);
  EXPECT_LT(borne, 4000);
}

// KORVEL_WRENCHES=7000 makes a hundred thousand in all.
TEST(Distribution, HardWrenchesToo) {
  const char* const count = std::getenv("KORVEL_WRENCHES");
  const std::uint64_t seeds = count == nullptr ? 500 : std::strtoull(count, nullptr, 10);
  for (int family = 0; family < tests::family_count; ++family) {
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
      SCOPED_TRACE(seed);
      const DistributionCase one = tests::hard_case(family, seed);
      expect_nearest(one, one.distributed());
    }
    ASSERT_FALSE(HasFailure()) << "of family " << family;
  }
}

// Only the forces of least norm do that: others that bear a load jump.
TEST(Distribution, ForcesChangeAsLittleAsTheLoad) {
  for (std::uint64_t seed = 0; seed < 20000; ++seed) {
    const DistributionCase one = tests::distribution_case(seed);
    const Loads<double> loads = one.distributed();
    DistributionCase other = one;
    const double change = seed % 2 == 0 ? 1e-7 : -1e-7;
    other.load.force += change * Vector3d(1, -1, 1);
    other.load.moment += change * Vector3d(-1, 1, 1);
    const Loads<double> changed = other.distributed();
    for (std::size_t i = 0; i < one.points.size(); ++i) {
      const Vector3d by = changed.size * vector(changed.points[i].force) - loads.size * vector(loads.points[i].force);
      ASSERT_LT(by.norm(), 1e-3) << seed;
    }
  }
}

// An iteration that follows the solution from a large eps to a small one may lose it: a third of the weight is missing
// there.
TEST(Distribution, ALoadThatCanBeSupportedIsSupported) {
  DistributionCase one{{{-0.0021147657387814434, 0.011436328410752594, 1.0022837075238726},
                        {0.00048940591270252298, -0.013073018973443595, -0.0054769982581035492}},
                       {},
                       0.1055650};
  for (const double y : {0.1, 0.9}) {
    for (const double x : {0.148485184, 1.64848518}) one.points.push_back({{x, y, 0}, 1});
    for (const double x : {-0.296563268, 1.20343673}) one.points.push_back({{x, -y, 0}, least_compliance});
  }
  EXPECT_LT(one.distributed().residual(), 1e-6);
}

// One foot, level, with a vertical load: each corner has the share that a plate on springs has.
TEST(Distribution, LoadIsSpreadEvenly) {
  const double offset = 0.2;
  DistributionCase one{{{0, 0, 1}, {0, -offset, 0}}, {}, 0.5};
  for (const double x : {-0.5, 0.5}) {
    for (const double y : {-0.4, 0.4}) one.points.push_back({{x, y, 0}, 1});
  }
  const Loads<double> loads = one.distributed();
  for (std::size_t i = 0; i < one.points.size(); ++i) {
    const double share = 0.25 * (1 + offset * one.points[i].arm.x() / (0.5 * 0.5));
    EXPECT_NEAR(loads.size * loads.points[i].force.z, share, 1e-7);
  }
}

TEST(Distribution, LeastFrictionOfAPushIsItsSlope) {
  DistributionCase one{{}, {{{1, 0, 0}, 1}, {{-1, 1, 0}, 1}, {{-1, -1, 0}, 1}}, 0};
  for (const double angle : {0.0, 0.4, 1.0, 2.5}) {
    one.load.force = {0.3 * std::cos(angle), 0.3 * std::sin(angle), 1};
    EXPECT_NEAR(least_friction(one.loads()), 0.3, 2e-3) << angle;
    // The search does not go below what is known to be needed.
    EXPECT_EQ(least_friction(one.loads(), 0.4), 0.4);
  }
  one.load.force = {0, 0, -1};
  EXPECT_EQ(least_friction(one.loads()), std::numeric_limits<double>::infinity());
}

// The derivatives of sin q and sin 2 q span those of all polynomials of degree two that are not even.
TEST(RequiredWrench, TurnsGiveAShareOfEveryDerivative) {
  for (int i = -1000; i <= 1000; ++i) {
    const double share = i / 1000.0;
    const Eigen::Array2d turn = turn_for(share);
    for (const int degree : {1, 2}) {
      EXPECT_NEAR(2 * (turn_weights * (degree * turn).sin()).sum(), degree * share, 4e-15) << share;
    }
  }
}

TEST(RequiredWrench, JointsOfALimbAreTurnedOneByOne) {
  const Eigen::VectorXd rates = (Eigen::VectorXd(7) << 1, -3, 2, 0, -0.5, 5, 4).finished();
  EXPECT_EQ(groups_of(rates, {1, 1, 1, 2, 3, 3, 4}), (std::vector<std::vector<Eigen::Index>>{{5, 6, 1}, {2, 4}, {0}}));
  EXPECT_EQ(groups_of(rates.head(4), {1, 2, 3, 1}).size(), 1U);
}

}  // namespace
}  // namespace korvel::contact
