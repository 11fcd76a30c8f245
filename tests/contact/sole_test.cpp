#include "contact/sole.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include "contact/support_polygon.h"

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
  for (const Eigen::Vector3d& p : Points{{0, 0, 0}, {0.2, 0.1, 0}, {0.2, 0, 0}, {0, 0.1, 0}, {0.1, 0, 0}}) {
    given.emplace_back(turn * p + shift);
  }
  const Sole sole(7, given, 0.5);
  EXPECT_TRUE(sole.centre().isApprox(turn * Eigen::Vector3d(0.1, 0.05, 0) + shift, 1e-9));
  double around = 0;
  for (std::size_t i = 0; i < sole.corners().size(); ++i) {
    around += (sole.corners()[(i + 1) % sole.corners().size()] - sole.corners()[i]).norm();
  }
  EXPECT_NEAR(around, 0.6, 1e-9);
}

TEST(SupportPolygon, MarginIsTheDistanceFromTheEdge) {
  const SupportPolygon square({{0, 0}, {1, 1}, {1, 0}, {0, 1}, {0.5, 0.5}});
  EXPECT_EQ(square.corners().size(), 4U);
  EXPECT_DOUBLE_EQ(square.margin({0.5, 0.3}), 0.3);
  EXPECT_DOUBLE_EQ(square.margin({0.5, -0.3}), -0.3);
  EXPECT_DOUBLE_EQ(square.margin({1.3, 1.4}), -0.5);
  EXPECT_EQ(square.excess({0.5, 0.3}), Eigen::Vector2d(0, 0));
  EXPECT_TRUE(square.excess({1.3, 1.4}).isApprox(Eigen::Vector2d(0.3, 0.4)));

  // Nothing is inside a line or a point.
  const SupportPolygon line({{0, 0}, {1, 0}, {0.5, 0}});
  EXPECT_DOUBLE_EQ(line.margin({0.5, 0.2}), -0.2);
  EXPECT_DOUBLE_EQ(line.margin({2, 0}), -1);
  const SupportPolygon point(std::vector<Eigen::Vector2d>{{1, 1}});
  EXPECT_DOUBLE_EQ(point.margin({1, 3}), -2);
  EXPECT_TRUE(SupportPolygon().empty());
}

}  // namespace
}  // namespace korvel::contact
