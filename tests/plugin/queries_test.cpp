#include "support/expect.h"

namespace korvel::tests {
namespace {

class Queries : public ModuleTest {};

TEST_F(Queries, NamesStandInBodyOrderAndLeadBackToTheirIds) {
  const char* names[] = {"Torso",          "HeadYaw",       "HeadPitch",   "LShoulderPitch", "LShoulderRoll",
                         "LElbowYaw",      "LElbowRoll",    "LWristYaw",   "LHipYawPitch",   "LHipRoll",
                         "LHipPitch",      "LKneePitch",    "LAnklePitch", "LAnkleRoll",     "RHipYawPitch",
                         "RHipRoll",       "RHipPitch",     "RKneePitch",  "RAnklePitch",    "RAnkleRoll",
                         "RShoulderPitch", "RShoulderRoll", "RElbowYaw",   "RElbowRoll",     "RWristYaw"};
  for (unsigned long b = 0; b < 25; ++b) {
    EXPECT_EQ(robot->getBodyName(b), names[b]);
    EXPECT_EQ(robot->getBodyId(names[b]), b);
    EXPECT_EQ(b == 0 ? robot->getRootName() : robot->getJointAngleName(b - 1), names[b]);
    if (b > 0) {
      EXPECT_EQ(robot->getJointAngleId(names[b]), b - 1);
    }
    std::string misspelt = names[b];
    misspelt.back() = '?';
    EXPECT_THROW(robot->getBodyId(misspelt), std::out_of_range);
    EXPECT_THROW(robot->getJointAngleId(misspelt), std::out_of_range);
  }
}

TEST_F(Queries, TopologyIsThatOfFiveChainsOnATorso) {
  tesk::RigidBodySystem::TopologyVector parents(25), numbers(25, 1), indexes(25);
  for (int b = 1; b < 25; ++b) parents[static_cast<std::size_t>(b)] = b - 1;
  for (const std::size_t first_of_chain : {1U, 3U, 8U, 14U, 20U}) parents[first_of_chain] = 0;
  parents[0] = -1;
  numbers[0] = 6;
  for (std::size_t b = 1; b < 25; ++b) indexes[b] = indexes[b - 1] + numbers[b - 1];
  EXPECT_EQ(robot->getParentsVector(), parents);
  EXPECT_EQ(robot->getDofNumbersVector(), numbers);
  EXPECT_EQ(robot->getDofIndexesVector(), indexes);
}

}  // namespace
}  // namespace korvel::tests
