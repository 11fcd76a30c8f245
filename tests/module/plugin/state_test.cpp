#include "support/expect.h"

namespace korvel::tests {
namespace {

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
