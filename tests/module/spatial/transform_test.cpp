#include "contract/states.h"
#include "plugin/conversions.h"
#include "support/expect.h"

namespace korvel::tests {
namespace {

namespace Spatial = metapod::Spatial;

/// The tolerance of a few products and sums of numbers of the order of 1.
constexpr double algebraic = 16 * eps;

Eigen::Matrix<float, 6, 1> vector(const Spatial::Vector3& angular, const Spatial::Vector3& linear) {
  return {angular.x, angular.y, angular.z, linear.x, linear.y, linear.z};
}

TEST(Transforms, AreChangesOfFrameThatLeadBack) {
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    const auto first = random_pose(seed);
    const auto second = random_pose(1000 + seed);
    const auto A = tesk::fromQZMath(first);
    const auto B = tesk::fromQZMath(second);
    QZ::Math::Transform change, inverse, product;
    tesk::toQZMath(A, change);
    tesk::invToQZMath(A, inverse);
    tesk::invProdToQZMath(A, B, product);
    EXPECT_TRUE(near(eigen(change).matrix(), eigen(first).matrix(), algebraic));
    EXPECT_TRUE(near(eigen(inverse).matrix(), eigen(first).inverse().matrix(), algebraic));
    EXPECT_TRUE(near(eigen(product).matrix(), (eigen(first) * eigen(second)).inverse().matrix(), algebraic));

    Random random(seed);
    Spatial::Motion m{{random.unit(), random.unit(), random.unit()}, {random.unit(), random.unit(), random.unit()}};
    const auto back = A.applyInv(A * m);
    EXPECT_TRUE(near(vector(back.w, back.v), vector(m.w, m.v), algebraic));
    const auto there = (A * B) * m;
    const auto step_by_step = A * (B * m);
    EXPECT_TRUE(near(vector(there.w, there.v), vector(step_by_step.w, step_by_step.v), algebraic));
  }
}

// The about-z kind has c^2 + s^2 = 1 built in, also where it does not hold.
TEST(Transforms, AboutZRotateInertiasAsIfTheirRotationWereOne) {
  const Spatial::SymmetricMatrix3T<float> I{1, 2, 3, 4, 5, 6};
  const auto unfilled = rotated_back(Spatial::RotationMatrixAboutZ(), I);
  EXPECT_EQ((std::array{unfilled.xx, unfilled.yx, unfilled.yy}), (std::array{I.xx, I.yx, I.yy}));
  EXPECT_EQ(unfilled.zx, 0);
}

}  // namespace
}  // namespace korvel::tests
