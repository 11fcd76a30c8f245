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

// sine_cosine_walk compares the angles below the bound; these are the ones that go to the C runtime, alone and beside
// one that does not.
TEST(SineAndCosine, OfLargeAnglesAreThoseOfTheRuntime) {
  const float bound = Spatial::internal::sine_cosine_bound;
  const float infinite = std::numeric_limits<float>::infinity();
  for (const float angle : {bound, -bound, 1.5F * bound, std::numeric_limits<float>::max()}) {
    const auto both = Spatial::sine_cosine(Spatial::Pack(angle, 1, -angle, 0));
    EXPECT_EQ(both.sine[0], static_cast<float>(std::sin(static_cast<double>(angle)))) << angle;
    EXPECT_EQ(both.cosine[2], static_cast<float>(std::cos(static_cast<double>(angle)))) << angle;
    EXPECT_EQ(both.sine[1], static_cast<float>(std::sin(1.0)));
    EXPECT_EQ(both.cosine[3], 1);
  }
  const auto none = Spatial::sine_cosine(Spatial::Pack(infinite, -infinite, std::nanf(""), 0));
  for (int lane = 0; lane < 3; ++lane)
    EXPECT_TRUE(std::isnan(none.sine[lane]) && std::isnan(none.cosine[lane])) << lane;
  const auto quarter = Spatial::sine_cosine(Spatial::Pack(1.5707964F));
  EXPECT_EQ(quarter.sine[3], 1);
  EXPECT_EQ(quarter.cosine[3], -4.371139e-08F);
}

TEST(Joints, StandStillAtZeroAndTakeLinearRatesFirst) {
  metapod::RevoluteJointAboutZ revolute;
  revolute.jcalc(positions<1>({1}), {2});
  revolute.jcalcPos(positions<1>({0}));
  EXPECT_TRUE(near(matrix(revolute.Xj), Matrix6::Identity(), 0));
  EXPECT_TRUE(near(vector(revolute.vj), 2 * Vector6::Unit(2), 0));  // as the last rates left it
  metapod::FreeFlyerBodyJoint free;
  free.jcalc(positions<6>({}), {1, 2, 3, 4, 5, 6});
  EXPECT_TRUE(near(matrix(free.Xj), Matrix6::Identity(), 0));
  free.jcalcPos(positions<6>({1, 2, 3, 0, 0, 0}));
  EXPECT_TRUE(near(eigen(free.Xj.r), Eigen::Vector3d(1, 2, 3), 0));
  EXPECT_TRUE(near(vector(free.vj), (Vector6() << 4, 5, 6, 1, 2, 3).finished(), 0));
}

}  // namespace
}  // namespace korvel::tests
