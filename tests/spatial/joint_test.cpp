#include "spatial/matrices.h"

namespace korvel::tests {
namespace {

TEST(SpatialInertia, IsBuiltByTheParallelAxisRule) {
  RandomSpatial random(1);
  const auto I = random.inertia();
  const auto c = random.vector3();
  const auto built = Spatial::Inertia::from_center_of_mass(2, c, I.I);
  Matrix6 expected = matrix(Spatial::Inertia(2, 2.0F * c, I.I));
  expected.topLeftCorner(3, 3) -= 2 * skew(eigen(c)) * skew(eigen(c));
  EXPECT_TRUE(near(matrix(built), expected, algebraic));
  EXPECT_TRUE(near(matrix(built + I), expected + matrix(I), algebraic));
  EXPECT_EQ(Spatial::Inertia().m, 0);
}

template <typename Joint>
class MotionSubspace : public testing::Test {};
using Joints = testing::Types<metapod::RevoluteJointAboutZ, metapod::FreeFlyerBodyJoint>;
TYPED_TEST_SUITE(MotionSubspace, Joints);

TYPED_TEST(MotionSubspace, ProductsAreThoseOfItsMatrix) {
  constexpr auto S = TypeParam::S;
  constexpr std::size_t dof = TypeParam::dof;
  RandomSpatial random(1);
  const auto I = random.inertia();
  const Spatial::Force f{random.vector3(), random.vector3()};
  const auto X = random.transform<Spatial::RotationMatrix>();
  const auto IS = I * S;
  for (std::size_t k = 0; k < dof; ++k) {
    // The motion of one coordinate: linear x, y, z, then angular x, y, z; of a revolute joint angular z.
    const Vector6 column = Vector6::Unit(dof == 1 ? 2 : static_cast<long>((k + 3) % 6));
    Spatial::CoordinatesT<float, dof> rates{};
    rates[k] = 3;
    EXPECT_TRUE(near(vector(S * rates), 3 * column, 0));
    EXPECT_TRUE(near(vector(IS[k]), matrix(I) * column, 0));
    EXPECT_TRUE(near(vector(applyInv(X, IS)[k]), matrix(X).transpose() * matrix(I) * column, algebraic));
    EXPECT_EQ((S.transpose() * f)[k], vector(f).dot(column));
    EXPECT_EQ((S.transpose() * IS)[0][k], vector(IS[0]).dot(column));
    if constexpr (dof == 1) {
      EXPECT_TRUE(near(vector(applyInv(X, S)), matrix(X).inverse() * column, algebraic));
    }
  }
}

// Sine and cosine are those of double precision, rounded once, also far from zero.
TEST(RevoluteJoint, RoundsSineAndCosineOnce) {
  metapod::RevoluteJointAboutZ joint;
  Random random(1);
  for (int k = 0; k < 20000; ++k) {
    const float angle = random(k % 2 == 0 ? 4.0F : 1e5F);
    joint.jcalcPos({angle});
    ASSERT_EQ(joint.Xj.E.s, static_cast<float>(std::sin(static_cast<double>(angle)))) << angle;
    ASSERT_EQ(joint.Xj.E.c, static_cast<float>(std::cos(static_cast<double>(angle)))) << angle;
  }
  joint.jcalc({1.5707964F}, {2});
  EXPECT_EQ(joint.Xj.E.s, 1);
  EXPECT_EQ(joint.Xj.E.c, -4.371139e-08F);
  joint.jcalcPos({0});
  EXPECT_TRUE(near(matrix(joint.Xj), Matrix6::Identity(), 0));
  EXPECT_TRUE(near(vector(joint.vj), 2 * Vector6::Unit(2), 0));  // as the last rates left it
}

TEST(FreeFlyerJoint, StandsStillAtZeroAndTakesLinearRatesFirst) {
  metapod::FreeFlyerBodyJoint joint;
  joint.jcalc({}, {1, 2, 3, 4, 5, 6});
  EXPECT_TRUE(near(matrix(joint.Xj), Matrix6::Identity(), 0));
  joint.jcalcPos({1, 2, 3, 0, 0, 0});
  EXPECT_TRUE(near(eigen(joint.Xj.r), Eigen::Vector3d(1, 2, 3), 0));
  EXPECT_TRUE(near(vector(joint.vj), (Vector6() << 4, 5, 6, 1, 2, 3).finished(), 0));
}

}  // namespace
}  // namespace korvel::tests
