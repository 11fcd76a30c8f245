#include "support/expect.h"

namespace korvel::tests {
namespace {

class Queries : public ModuleTest {};

TEST_F(Queries, NamesStandInBodyOrder) {
  const char* names[] = {"Torso",          "HeadYaw",       "HeadPitch",   "LShoulderPitch", "LShoulderRoll",
                         "LElbowYaw",      "LElbowRoll",    "LWristYaw",   "LHipYawPitch",   "LHipRoll",
                         "LHipPitch",      "LKneePitch",    "LAnklePitch", "LAnkleRoll",     "RHipYawPitch",
                         "RHipRoll",       "RHipPitch",     "RKneePitch",  "RAnklePitch",    "RAnkleRoll",
                         "RShoulderPitch", "RShoulderRoll", "RElbowYaw",   "RElbowRoll",     "RWristYaw"};
  for (unsigned long b = 0; b < 25; ++b) {
    EXPECT_EQ(robot->getBodyName(b), names[b]);
    EXPECT_EQ(b == 0 ? robot->getRootName() : robot->getJointAngleName(b - 1), names[b]);
  }
}

}  // namespace
}  // namespace korvel::tests
