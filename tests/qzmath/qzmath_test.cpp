#include "qzmath/qzmath.h"

#include "support/expect.h"
#include "support/truth.h"

namespace korvel::tests {
namespace {

TEST(HostPoses, AreYawPitchRoll) {
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    State state = random_state(seed);
    if (seed % 3 == 0) state.q(4) = seed % 2 == 0 ? 1.57079637F : -1.57079637F;
    const Eigen::Affine3d expected = Truth(state).pose(0);
    const QZ::Math::Transform pose = state.root_pose();
    EXPECT_TRUE(near(eigen(pose).matrix(), expected.matrix(), 4 * eps));
    // At the pole roll and yaw are not unique, but the rotation is.
    const auto position = QZ::Math::position6DFromTransform(pose);
    EXPECT_TRUE(near(eigen(transformFromPosition6D(position)).matrix(), expected.matrix(), 8 * eps)) << seed;
    const double from_pole = std::abs(std::cos(static_cast<double>(state.q(4))));
    EXPECT_NEAR(seed % 3 == 0 ? 0 : position.ax - state.q(3), 0, 8 * eps / from_pole) << seed;
    const QZ::Math::Position3D point(state.dq(0), state.dq(1), state.dq(2));
    EXPECT_TRUE(near(eigen(pose * point), expected * eigen(point), 16 * eps));
  }
}

}  // namespace
}  // namespace korvel::tests
