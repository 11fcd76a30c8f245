#include "support/expect.h"

namespace korvel::tests {
namespace {

class Lifecycle : public ModuleTest {};

TEST_F(Lifecycle, AFreshObjectHoldsZerosAndIdentities) {
  const Layout shown(*robot);
  std::vector<float> expected(static_cast<std::size_t>(shown.size()));
  for (auto pose = expected.begin(); pose != expected.begin() + shown[Result::com].first; pose += 12)
    pose[0] = pose[5] = pose[10] = 1;
  // The root's motions in the jacobian: columns 0 to 2 linear, 3 to 5 angular.
  for (int d = 0; d < 6; ++d)
    expected[static_cast<std::size_t>(shown[Result::jacobian].first + 6 * d + (d + 3) % 6)] = 1;
  EXPECT_TRUE(same_bits(everything_readable(*robot), expected));
}

TEST_F(Lifecycle, DestroyTakesNullAndClones) {
  module.destroy()(nullptr);
  module.destroy()(robot->clone().release());
}

TEST_F(Lifecycle, ACloneSharesNothingWithItsSource) {
  compute(random_state(1), *robot);
  robot->setVolatilePose(0, robot->getPose(3));
  const auto shown = everything_readable(*robot);
  const auto copy = robot->clone()->clone();  // what is copied is whole
  EXPECT_TRUE(same_bits(everything_readable(*copy), shown));
  const auto recompute = [](tesk::RigidBodySystem& r) {  // from wrenches and from what the last joint pass left
    r.computeGeneralizedMass();
    r.computeInverseDynamics();
    return everything_readable(r);
  };
  EXPECT_TRUE(same_bits(recompute(*copy), shown));
  compute(random_state(2), *copy);
  copy->setVolatilePose(0, copy->getPose(4));
  EXPECT_TRUE(same_bits(recompute(*robot), shown));
  const auto last = everything_readable(*copy);
  EXPECT_FALSE(same_bits(last, shown));
  robot.reset();
  EXPECT_TRUE(same_bits(everything_readable(*copy), last));
}

TEST_F(Lifecycle, SettersChangeNoResultButTheRootPose) {
  compute(random_state(1), *robot);
  const auto before = everything_readable(*robot);
  write(random_state(2), *robot);
  const auto after = everything_readable(*robot);
  const auto inputs = Layout(*robot)[Result::root_velocity].first;
  EXPECT_TRUE(std::equal(before.begin() + 12, before.begin() + inputs, after.begin() + 12));
  EXPECT_FALSE(std::equal(before.begin(), before.begin() + 12, after.begin()));
}

TEST_F(Lifecycle, ViewsAndReferencesShowLaterWrites) {
  const auto positions = robot->getJointAnglesPos();
  const auto torques = robot->getJointAnglesTorque();
  const auto& mass = robot->getGeneralizedMass();
  const State state = random_state(5);
  compute(state, *robot);
  EXPECT_TRUE(near(eigen(positions), state.q.tail(24), 0));
  EXPECT_EQ(torques[23], robot->getJointAngleTorque(23));
  EXPECT_GT(mass(29, 29), 0);
}

class Masses : public ModuleTest {
 protected:
  void set_mass(unsigned long b, float mass) { robot->setBodyInertia(b, mass, {}, Eigen::Matrix3f::Zero()); }
};

// Sums and differences in float, in this order: a host that tracks the mass gets the same bits.
TEST_F(Masses, TotalFollowsEveryChange) {
  Random random(7);
  for (int change = 0; change < 100; ++change) {
    const unsigned long b = random.integer() % 25;
    const float mass = 1.5F + random.unit();
    const float expected = (mass - robot->getMass(b)) + robot->getMass();
    set_mass(b, mass);
    EXPECT_EQ(robot->getMass(b), mass);
    EXPECT_EQ(robot->getMass(), expected);
    for (unsigned long k = 0; k < 25; ++k) EXPECT_EQ(robot->getPartialMass(k), expected - robot->getMass(k));
    for (const unsigned long k : {25UL, ~0UL}) EXPECT_EQ(robot->getPartialMass(k), expected);
  }
}

TEST_F(Masses, AreSharedByAllObjectsAndSummedAgainForANewOne) {
  const System other = module.create();
  set_mass(24, 1e8F);  // swallows what is added to it, so the bookkeeping shows
  set_mass(3, 0.125F);
  set_mass(24, 0.5F);
  const float tracked = robot->getMass();
  EXPECT_EQ(other->clone()->getMass(), tracked);  // a copy does not sum again
  EXPECT_EQ(other->getMass(3), 0.125F);
  const System fresh = module.create();
  float sum = 0;
  for (unsigned long b = 0; b < 25; ++b) sum += robot->getMass(b);
  EXPECT_NE(sum, tracked);
  for (const auto* any : {robot.get(), other.get(), fresh.get()}) EXPECT_EQ(any->getMass(), sum);
}

}  // namespace
}  // namespace korvel::tests
