// Angles of poses, against the formulas in extended precision.

#include <gtest/gtest.h>

#include <cmath>

#include "contract/states.h"
#include "qzmath/qzmath.h"

namespace korvel::tests {
namespace {

using QZ::Math::Position6D;
using QZ::Math::Transform;
using Real = long double;

Transform random_pose(Random& random, float pitch) {
  return QZ::Math::transformFromPosition6D({1, 2, 3, random(3.2F), pitch, random(3.2F)});
}

/// Returns the angle about x of the rotation that is left after undoing the rounded angle about z.
float angle_about_x(const Transform& R, float az) {
  const Real s = std::sin(Real{az});
  const Real c = std::cos(Real{az});
  return static_cast<float>(std::atan2(s * R.r02 - c * R.r12, c * R.r11 - s * R.r01));
}

void expect_rebuilt(const Transform& pose, float tolerance) {
  const Transform again = QZ::Math::transformFromPosition6D(QZ::Math::position6DFromTransform(pose));
  const float* const a = &pose.r00;
  const float* const b = &again.r00;
  for (int i = 0; i < 12; ++i) EXPECT_NEAR(a[i], b[i], tolerance) << i;
}

// The nearest floats, also of rotations that are not quite orthonormal.
TEST(PoseAngles, AreTheNearestToTheTruth) {
  Random random(1);
  for (int i = 0; i < 100000; ++i) {
    Transform R = random_pose(random, random(1.57F));
    if (i % 3 == 0) R.r12 *= 1 + random(1e-4F);
    if (i % 3 == 1) R.r00 += random(1e-4F);
    const Position6D p = QZ::Math::position6DFromTransform(R);
    ASSERT_EQ(p.az, static_cast<float>(std::atan2(Real{R.r10}, Real{R.r00}))) << i;
    ASSERT_EQ(p.ay, static_cast<float>(std::atan2(-Real{R.r20}, std::hypot(Real{R.r00}, Real{R.r10})))) << i;
    ASSERT_EQ(p.ax, angle_about_x(R, p.az)) << i;
    ASSERT_EQ(p.x + p.y + p.z, 6);
  }
}

// If x and z turn about one axis, or nearly, any split between them gives the rotation back.
TEST(PoseAngles, RebuildThePoseAtThePoles) {
  Random random(2);
  for (const float pitch : {1.5707964F, -1.5707964F, 1.5707F, 1.57079F, -1.570796F}) {
    for (int i = 0; i < 1000; ++i) {
      Transform R = random_pose(random, pitch);
      expect_rebuilt(R, 3e-7F);
      if (std::abs(pitch) < 1.570796F) continue;
      R.r00 = R.r10 = i % 2 == 0 ? 0.0F : -0.0F;
      expect_rebuilt(R, 6e-7F);
    }
  }
}

// Half turns and quarter turns are exact, with the signs that zeros have.
TEST(PoseAngles, OfQuarterTurns) {
  const float quarter = std::acos(-1.0F) / 2;
  const auto about_z = [](float c, float s) {
    Transform R;
    R.r00 = R.r11 = c;
    R.r10 = s;
    R.r01 = -s;
    return QZ::Math::position6DFromTransform(R).az;
  };
  EXPECT_EQ(about_z(1, 0), 0);
  EXPECT_FALSE(std::signbit(about_z(1, 0)));
  EXPECT_TRUE(std::signbit(about_z(1, -0.0F)));
  EXPECT_EQ(about_z(0, 1), quarter);
  EXPECT_EQ(about_z(0, -1), -quarter);
  EXPECT_EQ(about_z(-1, 0), 2 * quarter);
  EXPECT_EQ(about_z(-1, -0.0F), -2 * quarter);
  EXPECT_EQ(about_z(1, 1), quarter / 2);
  Transform none;
  none.r10 = std::nanf("");
  EXPECT_TRUE(std::isnan(QZ::Math::position6DFromTransform(none).az));
}

}  // namespace
}  // namespace korvel::tests
