#include "support/expect.h"

namespace korvel::tests {
namespace {

class Kinematics : public ModuleTest {};

// The bits agree: moments are added in body order and multiplied by the reciprocal of the mass. All places are exact at
// zero except those of the legs, which weigh next to nothing here.
TEST_F(Kinematics, CentreOfMassIsASumInBodyOrderTimesTheReciprocalOfTheMass) {
  Random random(9);
  for (int round = 0; round < 20; ++round) {
    std::array<Eigen::Vector3f, 25> moments;
    for (unsigned long b = 0; b < 25; ++b) {
      const float mass = b >= 8 && b < 20 ? 1e-30F : 1.5F + random.unit();
      const QZ::Math::Position3D com(random(1), random(1), random(1));
      robot->setBodyInertia(b, mass, com, Eigen::Matrix3f::Zero());
      moments[b] = mass * Eigen::Vector3f(com.x, com.y, com.z);
    }
    robot->computeFwdKinematics();
    for (unsigned long b = 1; b < 25; ++b)
      moments[b] = robot->getMass(b) * eigen(robot->getComPosition(b)).cast<float>();
    for (unsigned long without = 1; without <= 25; ++without) {
      Eigen::Vector3f sum = moments[0];
      for (unsigned long b = 1; b < 25; ++b) sum += b == without ? Eigen::Vector3f::Zero() : moments[b];
      const auto com = without < 25 ? robot->computePartialComPositionInRoot(without) : robot->getComPositionInRoot();
      EXPECT_TRUE(near(eigen(com), sum * (1 / robot->getPartialMass(without)), 0)) << without;
    }
  }
}

// setRootPose stores the round trip through six coordinates, to the bit what the computation will rebuild from them.
TEST_F(Kinematics, RootPoseIsTheRoundTripThroughItsCoordinates) {
  robot->computeFwdKinematics();
  constexpr float pole = 1.57079637F;
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    State state = random_state(seed);
    if (seed % 4 == 1) state.q(4) = seed % 8 == 1 ? pole : -pole;
    QZ::Math::Transform pose = state.root_pose();
    const bool skewed = seed % 4 == 2;
    if (skewed) pose.r00 *= 1.5F, pose.r21 += 0.25F;
    robot->setRootPose(pose);
    const auto rebuilt = eigen(robot->getRootPose());
    EXPECT_TRUE(skewed || near(rebuilt.matrix(), eigen(pose).matrix(), kinematic));
    EXPECT_TRUE(near(rebuilt.linear().transpose() * rebuilt.linear(), Eigen::Matrix3d::Identity(), kinematic));
    EXPECT_TRUE(near(rebuilt.translation(), state.q.head(3), 0));
    const auto before = everything_readable(*robot);
    robot->computeFwdKinematicsOnlyRoot();
    const auto after = everything_readable(*robot);
    EXPECT_TRUE(std::equal(after.begin(), after.begin() + 12, before.begin()));
  }
}

// Either stage of the kinematics places the root, and nothing else need run before.
TEST_F(Kinematics, PartialComJacobianTurnsWithTheRoot) {
  compute(random_state(1), *robot);
  for (const auto stage :
       {&tesk::RigidBodySystem::computeFwdKinematicsOnlyRoot, &tesk::RigidBodySystem::computeFwdKinematicsExceptRoot}) {
    robot->setRootPose(random_state(stage == &tesk::RigidBodySystem::computeFwdKinematicsOnlyRoot ? 2 : 3).root_pose());
    (robot.get()->*stage)();
    tesk::RigidBodySystem::ComJacobian J;
    robot->computePartialComJacobian(4, J);
    const auto partial = static_cast<double>(robot->getPartialMass(4));
    EXPECT_TRUE(near(J.leftCols(3), partial * eigen(robot->getRootPose()).linear(), kinematic * partial));
  }
}

}  // namespace
}  // namespace korvel::tests
