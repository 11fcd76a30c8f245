#include "support/expect.h"
#include "support/truth.h"

namespace korvel::tests {
namespace {

using Eigen::Vector3d;

class Kinematics : public ModuleTest {};

TEST_F(Kinematics, PosesCentresOfMassAndJacobianAreThoseOfTheTextbook) {
  const auto total = static_cast<double>(robot->getMass());
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    const State state = random_state(seed);
    const Truth world(state);
    const Truth in_root(robot_bodies(), Eigen::Affine3d::Identity(), state.q.tail(24).cast<double>());
    const double reach = 1 + world.pose(0).translation().norm();
    compute(state, *robot);
    for (int b = 0; b < 25; ++b) {
      const auto body = static_cast<unsigned long>(b);
      const Eigen::Affine3d pose = eigen(robot->getPose(body));
      EXPECT_TRUE(near(pose.matrix(), world.pose(b).matrix(), kinematic * reach)) << b;
      // To the bit: the third row is made from the others.
      const Eigen::Matrix3f R = pose.linear().cast<float>();
      EXPECT_TRUE(b == 0 || near(R.row(2), R.row(0).cross(R.row(1)), 0)) << b;
      EXPECT_TRUE(near(eigen(robot->getPoseInRoot(body)).matrix(), in_root.pose(b).matrix(), kinematic)) << b;
      EXPECT_TRUE(near(eigen(robot->getComPosition(body)), world.com(b), kinematic * reach)) << b;
      const Truth::Vector6 column = in_root.jacobian(b, Vector3d::Zero()).col(5 + b);
      EXPECT_TRUE(b == 0 || near(robot->getJacobianInRoot().col(5 + b), column, kinematic)) << b;
      const Vector3d partial = b > 0 ? Vector3d(in_root.first_moment(b) / (total - in_root.mass(b)))
                                     : Vector3d(world.first_moment() / total);
      EXPECT_TRUE(near(eigen(robot->computePartialComPositionInRoot(body)), partial, kinematic * reach)) << b;
    }
    EXPECT_TRUE(near(eigen(robot->getComPosition()), world.first_moment() / total, kinematic * reach));
    EXPECT_TRUE(near(eigen(robot->getComPositionInRoot()), in_root.first_moment() / total, kinematic));
  }
}

// Column 6 + j is the twist of the body that joint j carries, found by turning the joint a little both ways.
TEST_F(Kinematics, JacobianIsTheDerivativeOfPoses) {
  for (std::uint64_t seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
    const State state = random_state(seed);
    const Truth truth(robot_bodies(), Eigen::Affine3d::Identity(), state.q.tail(24).cast<double>());
    compute(state, *robot);
    for (int j = 0; j < 24; ++j) {
      const Eigen::Matrix4d rate = derivative([&](double angle) {
        return truth.moved(Truth::Vector::Unit(30, 6 + j), Truth::Vector::Zero(30), angle).pose(j + 1).matrix();
      });
      const Eigen::Matrix4d twist = rate * truth.pose(j + 1).inverse().matrix();
      Truth::Vector6 column;
      column << twist(2, 1), twist(0, 2), twist(1, 0), twist.col(3).head(3);
      EXPECT_TRUE(near(robot->getJacobianInRoot().col(6 + j), column, kinematic)) << "joint angle " << j;
    }
  }
}

TEST_F(Kinematics, EachPartAndTheRestMakeTheWhole) {
  State state = random_state(6);
  state.q.head(6).setZero();
  compute(state, *robot);
  const double tolerance = kinematic * static_cast<double>(robot->getMass());
  const Vector3d whole = robot->getMass() * eigen(robot->getComPositionInRoot());
  Vector3d sum = robot->getMass(0) * eigen(robot->getComPosition(0));
  for (unsigned long b = 1; b < 25; ++b) {
    const Vector3d rest = robot->getPartialMass(b) * eigen(robot->computePartialComPositionInRoot(b));
    const Vector3d part = robot->getMass(b) * eigen(robot->getComPosition(b));
    EXPECT_TRUE(near(rest + part, whole, tolerance));
    sum += part;
  }
  EXPECT_TRUE(near(sum, whole, tolerance));
}

TEST_F(Kinematics, MovingTheRootLeavesWhatIsRelativeToIt) {
  State state = random_state(1);
  compute(state, *robot);
  const auto before = everything_readable(*robot);
  state.q.head(6) = random_state(2).q.head(6);
  robot->setRootPose(state.root_pose());
  robot->computeFwdKinematicsOnlyRoot();
  robot->computeGeneralizedMass();
  const auto after = everything_readable(*robot);
  const Layout shown(*robot);
  const auto same = [&](Result result) {
    const auto [first, last] = shown[result];
    return std::equal(before.begin() + first, before.begin() + last, after.begin() + first);
  };
  for (const Result result : {Result::poses_in_root, Result::volatile_poses, Result::com_in_root, Result::jacobian,
                              Result::mass_matrix, Result::torques}) {
    EXPECT_TRUE(same(result)) << entry(result).piece;
  }
  EXPECT_FALSE(same(Result::com));
  // What has been done in one step or in two is the same.
  robot->computeInverseDynamics();
  const System other = module.create();
  compute(state, *other);
  EXPECT_TRUE(same_bits(everything_readable(*other), everything_readable(*robot)));
}

// To the bit: moments are added in body order and multiplied by the reciprocal of the mass. At zero all places are
// exact but those of the legs, which weigh next to nothing here.
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

// Everything but 1 to 24 leaves nothing out and answers with the centre of mass in the world.
TEST_F(Kinematics, PartialCentreOfMassWithoutABodyIsThatOfTheWorld) {
  compute(random_state(3), *robot);
  for (const unsigned long b : {0UL, 25UL, ~0UL}) {
    EXPECT_TRUE(near(eigen(robot->computePartialComPositionInRoot(b)), eigen(robot->getComPosition()), 0)) << b;
  }
}

TEST_F(Kinematics, TheParentOfTheRootIsTheWorld) {
  compute(random_state(2), *robot);
  const auto parent = static_cast<unsigned long>(robot->getParentsVector()[0]);
  EXPECT_TRUE(near(eigen(robot->getPose(parent)).matrix(), Eigen::Matrix4d::Identity(), 0));
}

TEST_F(Kinematics, StoredPosesStayUntilTheRootIsPlaced) {
  compute(random_state(4), *robot);
  QZ::Math::Transform pose;
  pose.tx = 100;
  const Vector3d in_body = robot_bodies()[3].c;
  const Eigen::Matrix4d computed = eigen(robot->getPose(3)).matrix();
  robot->setPose(3, pose);
  robot->setVolatilePose(0, pose);
  robot->computeFwdKinematicsExceptRoot();
  EXPECT_EQ(robot->getPose(3).tx, 100);
  EXPECT_TRUE(near(eigen(robot->getComPosition(3)), Vector3d(100, 0, 0) + in_body, 100 * eps));
  robot->computeFwdKinematics();
  EXPECT_TRUE(near(eigen(robot->getPose(3)).matrix(), computed, 0));
  EXPECT_EQ(robot->getVolatilePose(0).tx, 100);
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

}  // namespace
}  // namespace korvel::tests
