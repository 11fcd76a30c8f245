#include "plugin/conversions.h"

#include "spatial/matrices.h"

namespace korvel::tests {
namespace {

/// The change of coordinates of points that X stands for.
Eigen::Matrix4d homogeneous(const tesk::SpatialTransform& X) {
  return Eigen::Affine3d(rotation(X.E)).translate(-eigen(X.r)).matrix();
}

TEST(Conversions, AreHomogeneousMatrices) {
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    RandomSpatial random(seed);
    const auto A = random.transform<Spatial::RotationMatrix>();
    const auto B = random.transform<Spatial::RotationMatrix>();
    QZ::Math::Transform change, inverse, product, rebuilt;
    tesk::toQZMath(A, change);
    tesk::invToQZMath(A, inverse);
    tesk::invProdToQZMath(A, B, product);
    EXPECT_TRUE(near(eigen(change).matrix(), homogeneous(A), algebraic));
    EXPECT_TRUE(near(matrix(tesk::fromQZMath(change)), matrix(A), algebraic));
    EXPECT_TRUE(near(eigen(inverse).matrix(), homogeneous(A).inverse(), algebraic));
    EXPECT_TRUE(near(eigen(product).matrix(), homogeneous(A * B).inverse(), algebraic));
    // The third row is made from the other two, so what B has there does not matter.
    auto skewed = B;
    skewed.E.E.column2 = random.vector3();
    skewed.r = {};
    tesk::invProdToQZMath(A, skewed, rebuilt);
    EXPECT_TRUE(near(eigen(rebuilt).linear(), eigen(product).linear(), 0));
  }
}

}  // namespace
}  // namespace korvel::tests
