#include "support/expect.h"

namespace korvel::tests {
namespace {

#ifdef NDEBUG

// The checks leave nothing behind, not even their texts.
TEST(Assertions, AreCompiledOut) {
  const std::string module = text_of(module_path());
  ASSERT_NE(module.find("RWristYaw"), std::string::npos);
  EXPECT_EQ(module.find("out of range"), std::string::npos);
}

#else

using Robot = tesk::RigidBodySystem;

class Assertions : public ModuleTest {};

#define MISUSE(operation, ...)                              \
  {                                                         \
#operation, [](Robot & r) { r.operation(__VA_ARGS__); } \
  }

TEST_F(Assertions, StopWithTheNameOfTheOperation) {
  static const QZ::Math::Transform pose;
  static const Eigen::ArrayXf few = Eigen::ArrayXf::Zero(23);
  static const std::vector<float> wrench(6), five(5);
  const std::pair<const char*, void (*)(Robot&)> misuses[] = {
      MISUSE(getJointAngleName, 24),
      MISUSE(getBodyName, 25),
      MISUSE(getMass, 25),
      MISUSE(setBodyInertia, 25, 1, {}, Eigen::Matrix3f::Zero()),
      MISUSE(setJointAnglesPos, few),
      MISUSE(setJointAnglesVel, few),
      MISUSE(setJointAnglesAcc, few),
      MISUSE(setJointAnglePos, 24, 0),
      MISUSE(setJointAngleVel, 24, 0),
      MISUSE(setJointAngleAcc, 24, 0),
      MISUSE(getJointAnglePos, 24),
      MISUSE(getJointAngleVel, 24),
      MISUSE(getJointAngleAcc, 24),
      MISUSE(setExternalWrench, 25, wrench),
      MISUSE(setExternalWrench, 25, wrench, pose),
      MISUSE(setExternalWrench, 0, five),
      MISUSE(setExternalWrench, 0, five, pose),
      MISUSE(getPoseInRoot, 25),
      MISUSE(getPose, 25),
      MISUSE(setPose, 25, pose),
      MISUSE(getComPosition, 25),
      MISUSE(getVolatilePose, 1),
      MISUSE(setVolatilePose, 1, pose),
      MISUSE(getJointAngleTorque, 24)};
  for (const auto& [operation, misuse] : misuses) EXPECT_DEATH(misuse(*robot), std::string(operation) + ": ");
}

#endif

}  // namespace
}  // namespace korvel::tests
