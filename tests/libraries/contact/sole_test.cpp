#include "contact/sole.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "contact/support_margin.h"
#include "contract/states.h"

namespace korvel::contact {
namespace {

using Points = std::vector<Eigen::Vector3d>;

std::string refusal(const Points& corners, double friction = 0.5) {
  try {
    Sole(0, corners, friction);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return {};
}

TEST(Sole, IsFlatConvexAndNotALine) {
  EXPECT_EQ(refusal({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}), "");
  EXPECT_EQ(refusal({{0, 0, 0}, {1, 0, 0}}), "expected at least 3 corners of a sole, found 2");
  EXPECT_EQ(refusal({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}), "expected the corners of a sole not to lie on a line");
  EXPECT_EQ(refusal({{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}), "expected the corners of a sole not to lie on a line");
  EXPECT_EQ(refusal({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0.1}}),
            "expected the corners of a sole in one plane, to a millimetre");
  const char* within = "expected a convex sole, found a corner within it";
  EXPECT_EQ(refusal({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.4, 0}}), within);
  EXPECT_EQ(refusal({{0, 0, 0}, {1, 0, 0}, {0.3, 0.3, 0}, {0, 1, 0}}), within);
  EXPECT_EQ(refusal({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, -0.1), "expected a friction of at least 0");
  EXPECT_EQ(refusal({{0, 0, 0}, {1, 0, 0}, {0, std::nan(""), 0}}), "expected corners at finite positions");
}

// Any order, any plane: the corners are those that were given, around the sole, and the centre is that of the area.
TEST(Sole, CornersAreGoneAround) {
  const Eigen::Quaterniond turn = Eigen::Quaterniond(0.3, -0.5, 0.2, 0.7).normalized();
  const Eigen::Vector3d shift(0.1, -0.2, 0.3);
  Points given;
  // One of them twice, and one on an edge.
  for (const Eigen::Vector3d& p : Points{{0, 0, 0}, {0.2, 0.1, 0}, {0.2, 0, 0}, {0, 0.1, 0}, {0.1, 0, 0}, {0, 0, 0}}) {
    given.emplace_back(turn * p + shift);
  }
  const Sole sole(7, given, 0.5);
  EXPECT_TRUE(sole.centre_body().isApprox(turn * Eigen::Vector3d(0.1, 0.05, 0) + shift, 1e-9));
  EXPECT_EQ(sole.corners_body().size(), 4U);
  double around = 0;
  for (std::size_t i = 0; i < sole.corners_body().size(); ++i) {
    around += (sole.corners_body()[(i + 1) % sole.corners_body().size()] - sole.corners_body()[i]).norm();
  }
  EXPECT_NEAR(around, 0.6, 1e-9);
}

using Points2 = std::vector<Eigen::Vector2d>;

SupportMargin<double> margin(const Points2& points, const Eigen::Vector2d& of) {
  std::vector<GroundVector<double>> from_it;
  for (const Eigen::Vector2d& point : points) from_it.push_back({point.x() - of.x(), point.y() - of.y(), {}});
  return support_margin(from_it);
}

TEST(SupportMargin, IsTheDistanceFromTheEdge) {
  // Corners twice, one within, and one on an edge.
  const Points2 square{{0, 0}, {1, 1}, {1, 0}, {0, 1}, {0.5, 0.5}, {1, 1}, {0, 0}, {0.25, 0}};
  EXPECT_DOUBLE_EQ(margin(square, {0.5, 0.3}).distance, 0.3);
  EXPECT_DOUBLE_EQ(margin(square, {0.5, -0.3}).distance, -0.3);
  EXPECT_DOUBLE_EQ(margin(square, {1.3, 1.4}).distance, -0.5);
  EXPECT_EQ(margin(square, {0.5, 0}).distance, 0);
  EXPECT_EQ(margin(square, {1, 1}).distance, 0);
  EXPECT_EQ(margin(square, {0.5, 0.3}).excess.x, 0);
  EXPECT_DOUBLE_EQ(margin(square, {1.3, 1.4}).excess.x, 0.3);
  EXPECT_DOUBLE_EQ(margin(square, {1.3, 1.4}).excess.y, 0.4);

  // A line and a point have no inside.
  const Points2 line{{0, 0}, {1, 0}, {0.5, 0}};
  EXPECT_DOUBLE_EQ(margin(line, {0.5, 0.2}).distance, -0.2);
  EXPECT_DOUBLE_EQ(margin(line, {2, 0}).distance, -1);
  EXPECT_EQ(margin(line, {0.5, 0}).distance, 0);
  EXPECT_DOUBLE_EQ(margin({{1, 1}, {1, 1}}, {1, 3}).distance, -2);
  EXPECT_EQ(margin({{1, 1}}, {1, 1}).distance, 0);
}

// An edge of the hull has no point to its right.
TEST(SupportMargin, OfRandomPointsIsThatOfTheEdgesOfTheirHull) {
  for (std::uint64_t seed = 0; seed < 3000; ++seed) {
    Random random(seed);
    const auto number = [&] { return static_cast<double>(random(1)); };
    const double flatness = seed % 3 == 0 ? 1e-9 : 1;
    Points2 points;
    for (int i = 0; i < 8; ++i) points.emplace_back(number(), flatness * number());
    const Eigen::Vector2d from(1.5 * number(), 1.5 * flatness * number());
    double on_edges = std::numeric_limits<double>::infinity();
    bool is_outside = false;
    for (const Eigen::Vector2d& a : points) {
      for (const Eigen::Vector2d& b : points) {
        const Eigen::Vector2d along = b - a;
        if (!(along.norm() > 0)) continue;
        const double distance =
            (a + std::clamp((from - a).dot(along) / along.squaredNorm(), 0.0, 1.0) * along - from).norm();
        const auto is_right = [&](const Eigen::Vector2d& p) {
          return along.x() * (p - a).y() - along.y() * (p - a).x() < 0;
        };
        if (std::any_of(points.begin(), points.end(), is_right)) continue;
        on_edges = std::min(on_edges, distance);
        is_outside = is_outside || is_right(from);
      }
    }
    const double found = margin(points, from).distance;
    ASSERT_NEAR(std::abs(found), on_edges, 1e-14) << seed;
    ASSERT_TRUE(std::abs(found) < 1e-14 || (found < 0) == is_outside) << seed;
  }
}

}  // namespace
}  // namespace korvel::contact
