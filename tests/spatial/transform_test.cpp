#include "spatial/matrices.h"

namespace korvel::tests {
namespace {

using General = Spatial::RotationMatrix;
using AboutZ = Spatial::RotationMatrixAboutZ;
using Identity = Spatial::RotationMatrixIdentity;

template <typename Kind>
class TransformOfKind : public testing::Test {};
using Kinds = testing::Types<General, AboutZ, Identity>;
TYPED_TEST_SUITE(TransformOfKind, Kinds);

TYPED_TEST(TransformOfKind, ActsAsItsMatrix) {
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    RandomSpatial random(seed);
    const auto X = random.transform<TypeParam>();
    const Spatial::Motion m{random.vector3(), random.vector3()};
    const Spatial::Force f{random.vector3(), random.vector3()};
    const Matrix6 on_motions = matrix(X);
    EXPECT_TRUE(near(vector(X * m), on_motions * vector(m), algebraic));
    EXPECT_TRUE(near(vector(X.apply(f)), on_motions.inverse().transpose() * vector(f), algebraic));
    EXPECT_TRUE(near(vector(X.applyInv(m)), on_motions.inverse() * vector(m), algebraic));
    EXPECT_TRUE(near(vector(X.applyInv(f)), on_motions.transpose() * vector(f), algebraic));
    EXPECT_TRUE(near(vector(X.applyInv(X.apply(m))), vector(m), algebraic));
    EXPECT_TRUE(near(vector(X.applyInv(X.apply(f))), vector(f), algebraic));
    if constexpr (!std::is_same_v<TypeParam, Identity>) {
      const auto I = random.inertia();
      EXPECT_TRUE(near(matrix(X.applyInv(I)), on_motions.transpose() * matrix(I) * on_motions, 2 * algebraic));
      EXPECT_TRUE(near(rotation(TypeParam()).topRows(2), Eigen::MatrixXd::Zero(2, 3), 0));
    }
  }
}

template <typename L, typename R, typename Result>
void expect_product() {
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    RandomSpatial random(seed);
    const auto X_BA = random.transform<R>();
    const auto X_CB = random.transform<L>();
    const Spatial::TransformT<Result> X_CA = X_CB * X_BA;
    EXPECT_TRUE(near(matrix(X_CA), matrix(X_CB) * matrix(X_BA), algebraic));
  }
}

TEST(Transforms, ComposeAsTheirMatricesAndKeepTheCheapKind) {
  expect_product<AboutZ, Identity, AboutZ>();
  expect_product<General, Identity, General>();
  expect_product<AboutZ, General, General>();
  expect_product<General, General, General>();
}

// The about-z kind has c^2 + s^2 = 1 built in, also where it does not hold.
TEST(Transforms, AboutZRotateInertiasAsIfTheirRotationWereOne) {
  RandomSpatial random(1);
  const auto I = random.inertia();
  const auto unfilled = Spatial::TransformT<AboutZ>().applyInv(I);
  EXPECT_TRUE(near(matrix(Spatial::TransformT<AboutZ>({1, 0}, {}).applyInv(I)), matrix(I), 0));
  EXPECT_TRUE(near(matrix(unfilled).topLeftCorner(2, 2), matrix(I).topLeftCorner(2, 2), 0));
  EXPECT_EQ(unfilled.I.zx, 0);
}

}  // namespace
}  // namespace korvel::tests
