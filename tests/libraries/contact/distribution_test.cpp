#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "contact/nearest_forces.h"
#include "contact/required_wrench.h"
#include "distribution_cases.h"

namespace korvel::contact {
namespace {

constexpr double weight = tests::DistributionCase::weight;

Wrench sum(const std::vector<ContactPoint>& points, const std::vector<Eigen::Vector3d>& forces) {
  Wrench total;
  for (std::size_t i = 0; i < points.size(); ++i) {
    total.force += forces[i];
    total.moment += points[i].position_world.cross(forces[i]);
  }
  return total;
}

/// The largest component along an edge of a friction cone of the force of which the moment of `wrench`, scaled, is felt
/// at a point: positive if a force there would bring the sum nearer to what is missing.
double gain(const Wrench& missing, const ContactPoint& point) {
  const Eigen::Vector3d moment = missing.moment / (moment_length * moment_length);
  const Eigen::Vector3d felt = missing.force + moment.cross(point.position_world);
  return felt.z() + point.cone.friction * std::hypot(felt.x(), felt.y());
}

/// What is missing is the least that can be missing: no force within a cone would lessen it, and it does no work on
/// those that are there, except for what the regularisation leaves. These conditions are enough: J. J. Moreau, 1962, a
/// cone and its polar.
void expect_nearest(const tests::DistributionCase& one, const Distribution& distribution) {
  ASSERT_EQ(distribution.forces_world.size(), one.points.size());
  const double size = std::max(weight, std::hypot(one.wrench.force.norm(), one.wrench.moment.norm() / moment_length));
  for (std::size_t i = 0; i < one.points.size(); ++i) {
    const Eigen::Vector3d& f = distribution.forces_world[i];
    EXPECT_GE(f.z(), 0);
    EXPECT_LE(std::hypot(f.x(), f.y()), one.points[i].cone.friction * f.z() + 1e-12 * f.norm());
  }
  const Wrench total = sum(one.points, distribution.forces_world);
  EXPECT_LT((total.force + distribution.missing_world.force - one.wrench.force).norm(), 1e-9 * size);
  EXPECT_LT((total.moment + distribution.missing_world.moment - one.wrench.moment).norm(), 1e-9 * size);

  const Wrench& missing = distribution.missing_world;
  EXPECT_NEAR(std::hypot(missing.force.norm(), missing.moment.norm() / moment_length), weight * distribution.residual,
              1e-9 * size);
  double work = 0;
  for (std::size_t i = 0; i < one.points.size(); ++i) {
    EXPECT_LT(gain(missing, one.points[i]), 2e-7 * size);
    const Eigen::Vector3d moment = missing.moment / (moment_length * moment_length);
    work += (missing.force + moment.cross(one.points[i].position_world)).dot(distribution.forces_world[i]);
  }
  EXPECT_NEAR(work, 0, 2e-7 * size * size);
}

TEST(Distribution, ForcesAreInTheirConesAndAsNearAsTheyCanBe) {
  int borne = 0;
  for (std::uint64_t seed = 0; seed < 5000; ++seed) {
    SCOPED_TRACE(seed);
    const tests::DistributionCase one = tests::distribution_case(seed);
    const Distribution distribution = distribute(one.wrench, one.points, weight);
    expect_nearest(one, distribution);
    borne += distribution.residual <= feasible_residual;
  }
  EXPECT_GT(borne, 1000);
  EXPECT_LT(borne, 4000);
}

// With KORVEL_WRENCHES=7000 a hundred thousand in all.
TEST(Distribution, HardWrenchesToo) {
  const char* const count = std::getenv("KORVEL_WRENCHES");
  const std::uint64_t seeds = count == nullptr ? 500 : std::strtoull(count, nullptr, 10);
  for (int family = 0; family < tests::family_count; ++family) {
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
      SCOPED_TRACE(seed);
      const tests::DistributionCase one = tests::hard_case(family, seed);
      expect_nearest(one, distribute(one.wrench, one.points, weight));
    }
    ASSERT_FALSE(HasFailure()) << "of family " << family;
  }
}

/// Loads as the iteration takes them, one in each lane.
template <typename Number>
std::vector<Eigen::Vector3d> forces_in_lanes(const std::vector<tests::DistributionCase>& cases) {
  constexpr int lanes = lane_count<Number>;
  const auto point_count = cases.front().points.size();
  std::vector<double> frictions;
  for (const ContactPoint& point : cases.front().points) frictions.push_back(point.cone.friction);
  std::vector<std::vector<LoadedPoint<Number>>> points(cases.size() / lanes);
  std::vector<LoadsInLanes<Number>> loads(points.size());
  for (std::size_t c = 0; c < points.size() * lanes; ++c) {
    const std::size_t block = c / lanes;
    const int lane = static_cast<int>(c % lanes);
    const auto put = [lane](const Vector3T<double>& v, Vector3T<Number>& to) {
      put_lane(to.x, lane, v.x);
      put_lane(to.y, lane, v.y);
      put_lane(to.z, lane, v.z);
    };
    points[block].resize(point_count);
    const Wrench& w = cases[c].wrench;
    const double size = std::hypot(w.force.norm(), w.moment.norm() / moment_length);
    put(plain(w.force / size), loads[block].load.force);
    put(plain(w.moment / (size * moment_length)), loads[block].load.moment);
    loads[block].points = points[block].data();
    for (std::size_t i = 0; i < point_count; ++i) {
      put(plain(cases[c].points[i].position_world / moment_length), points[block][i].arm);
      put_lane(points[block][i].compliance, lane, cases[c].points[i].compliance);
    }
  }
  NearestForces<Number>(frictions.data(), static_cast<int>(point_count))
      .find(loads.data(), static_cast<int>(loads.size()));
  std::vector<Eigen::Vector3d> forces;
  for (std::size_t c = 0; c < points.size() * lanes; ++c) {
    for (const LoadedPoint<Number>& point : points[c / lanes]) {
      const int lane = static_cast<int>(c % lanes);
      forces.emplace_back(lane_of(point.force.x, lane), lane_of(point.force.y, lane), lane_of(point.force.z, lane));
    }
  }
  return forces;
}

// However many lanes there are, and whatever their neighbours need.
TEST(Distribution, LanesDoNotSeeEachOther) {
  std::vector<tests::DistributionCase> cases;
  for (std::uint64_t seed = 0; seed < 160; ++seed) {
    cases.push_back(tests::hard_case(seed % 5 == 0 ? 6 : 13, seed));
    for (ContactPoint& point : cases.back().points) point.cone.friction = 0.4;
  }
  const std::vector<Eigen::Vector3d> expected = forces_in_lanes<double>(cases);
  EXPECT_EQ(forces_in_lanes<DoubleLanes<4>>(cases), expected);
  EXPECT_EQ(forces_in_lanes<DoubleLanes<8>>(cases), expected);
  EXPECT_EQ(forces_in_lanes<DoubleLanes<16>>(cases), expected);
}

// An iteration that follows the solution from a large eps to a small one may lose it. A third of the weight is missing
// there.
TEST(Distribution, ALoadThatIsBorneIsToldAsBorne) {
  tests::DistributionCase one;
  one.wrench.force = weight * Eigen::Vector3d(-0.0021147657387814434, 0.011436328410752594, 1.0022837075238726);
  one.wrench.moment =
      weight * moment_length * Eigen::Vector3d(0.00048940591270252298, -0.013073018973443595, -0.0054769982581035492);
  const auto add = [&](double x, double y, double compliance) {
    one.points.push_back({moment_length * Eigen::Vector3d(x, y, 0), {0.1055650}, compliance});
  };
  for (const double y : {0.1, 0.9}) {
    for (const double x : {0.148485184, 1.64848518}) add(x, y, 1);
    for (const double x : {-0.296563268, 1.20343673}) add(x, -y, least_compliance);
  }
  const Distribution distribution = distribute(one.wrench, one.points, weight);
  EXPECT_LT(distribution.residual, 1e-6);
  expect_nearest(one, distribution);
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
    const double share = 0.25 * (1 + offset * points[i].position_world.x() / (0.05 * 0.05));
    EXPECT_NEAR(distribution.forces_world[i].z(), share * weight, 1e-7 * weight);
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

// The derivatives of sin q and sin 2 q span those of all polynomials of degree two that are not even.
TEST(RequiredWrench, TurnsGiveAShareOfEveryDerivative) {
  for (int i = -1000; i <= 1000; ++i) {
    const double share = i / 1000.0;
    const Turn turn = turn_for(share);
    for (const int degree : {1, 2}) {
      const double found = 2 * (near_weight * std::sin(degree * turn.near) + far_weight * std::sin(degree * turn.far));
      EXPECT_NEAR(found, degree * share, 2e-15) << share;
    }
  }
}

TEST(RequiredWrench, JointsOfALimbAreTurnedOneByOne) {
  const Eigen::VectorXd rates = (Eigen::VectorXd(7) << 1, -3, 2, 0, -0.5, 5, 4).finished();
  EXPECT_EQ(groups_of(rates, {1, 1, 1, 2, 3, 3, 4}), (std::vector<std::vector<Eigen::Index>>{{5, 6, 1}, {2, 4}, {0}}));
  EXPECT_EQ(groups_of(rates.head(4), {1, 2, 3, 1}).size(), 1U);
}

TEST(Distribution, WithoutAPointAllIsMissing) {
  EXPECT_DOUBLE_EQ(distribute({{0, 0, weight}, {0, 0, 0}}, {}, weight).residual, 1);
  EXPECT_EQ(distribute({{0, 0, 0}, {0, 0, 0}}, {}, weight).residual, 0);
}

}  // namespace
}  // namespace korvel::contact
