#include "contact/stance.h"

#include <gtest/gtest.h>

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>

#include "contract/states.h"

namespace korvel::contact {
namespace {

constexpr double robot_weight = 52;

/// A level sole with corners on a circle around the origin of its body.
Sole round_sole(unsigned long body, int corners) {
  std::vector<Eigen::Vector3d> points;
  for (int i = 0; i < corners; ++i) {
    const double angle = 2 * std::acos(-1.0) * i / corners;
    points.emplace_back(0.05 * std::cos(angle), 0.05 * std::sin(angle), 0);
  }
  return {body, points, 0.6};
}

/// The load of a robot at rest whose centre of mass is above a point, on soles at these places.
Stance at_rest(const std::vector<Eigen::Vector2d>& places, const std::vector<double>& shares,
               const Eigen::Vector2d& above) {
  std::vector<Sole> soles;
  std::vector<SoleState> states;
  for (std::size_t i = 0; i < places.size(); ++i) {
    soles.push_back(round_sole(i, 3 + static_cast<int>(i)));
    Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();
    pose.translation() << places[i], -0.3;
    states.push_back({pose, shares[i]});
  }
  const Eigen::Vector3d force(0, 0, robot_weight);
  const Eigen::Vector3d com(above.x(), above.y(), 0);
  return stance({soles, states, {force, com.cross(force)}, com, -0.3, robot_weight, 0.005});
}

// One to five soles, lifted ones among them, and centres on a line. The combination of the centres that comes nearest
// to the zero moment point is found here by solving the normal equations.
TEST(Stance, CompliancesFollowTheZeroMomentPoint) {
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    Random random(seed);
    const auto number = [&] { return 0.3 * static_cast<double>(random(1)); };
    std::vector<Eigen::Vector2d> places;
    std::vector<double> shares;
    for (std::uint64_t i = 0; i <= seed % 5; ++i) {
      places.emplace_back(number(), seed % 3 == 0 ? 0.1 : number());
      shares.push_back(i > 0 && number() > 0.2 ? 0 : 0.7);
    }
    const Eigen::Vector2d above(number(), number());
    const Stance found = at_rest(places, shares, above);
    ASSERT_LT((found.zmp_world - above).norm(), 1e-12);

    Eigen::Matrix2Xd C(2, 0);
    for (std::size_t i = 0; i < places.size(); ++i) {
      if (!(shares[i] > 0)) continue;
      C.conservativeResize(Eigen::NoChange, C.cols() + 1);
      C.rightCols<1>() = places[i] - above;
    }
    const Eigen::MatrixXd normal = C.transpose() * C + 1e-6 * Eigen::MatrixXd::Identity(C.cols(), C.cols());
    const Eigen::VectorXd x = normal.ldlt().solve(Eigen::VectorXd::Ones(C.cols()));
    auto point = found.loads.points.begin();
    Eigen::Index next = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
      const double expected = shares[i] > 0 ? std::clamp(0.7 * x[next++] / x.sum(), least_compliance, 1.0) : 0;
      for (std::size_t c = 0; c < 3 + i; ++c) ASSERT_NEAR((point++)->compliance, expected, 1e-9) << seed;
    }
  }
}

// The loads of all soles together are what is required, about any point.
TEST(Stance, ThreeSolesBearARobotBetweenThem) {
  const std::vector<Eigen::Vector2d> places{{0, 0}, {0.4, 0}, {0.1, 0.3}};
  const Eigen::Vector2d above(0.15, 0.1);
  const Stance found = at_rest(places, {1, 1, 1}, above);
  EXPECT_EQ(found.verdict, Verdict::stands);
  EXPECT_GT(found.margin, 0.1);
  Wrench total;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const Wrench& load = found.soles[i].wrench_world;
    EXPECT_GT(load.force.z(), 0);
    EXPECT_GT(found.soles[i].inside, 0);
    total.force += load.force;
    total.moment += load.moment + Eigen::Vector3d(places[i].x(), places[i].y(), -0.3).cross(load.force);
  }
  EXPECT_LT((total.force - Eigen::Vector3d(0, 0, robot_weight)).norm(), 1e-7 * robot_weight);
  EXPECT_LT((total.moment - Eigen::Vector3d(above.y(), -above.x(), 0) * robot_weight).norm(), 1e-8 * robot_weight);

  // Next to the triangle it tips, by the distance from its edge.
  const Stance beside = at_rest(places, {1, 1, 1}, {0.2, -0.08});
  EXPECT_EQ(beside.verdict, Verdict::tips);
  EXPECT_LT(beside.excess_world.y(), -0.02);
  EXPECT_NEAR(beside.excess_world.norm(), -beside.margin, 1e-12);
}

}  // namespace
}  // namespace korvel::contact
