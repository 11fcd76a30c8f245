#include "support/expect.h"
#include "support/truth.h"

namespace korvel::tests {
namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using ComJacobian = tesk::RigidBodySystem::ComJacobian;

int parent(int b) { return robot_bodies()[static_cast<std::size_t>(b)].parent; }

/// Body b is i or hangs below it.
bool moves_with(int b, int i) {
  while (b > i) b = parent(b);
  return b == i;
}

class Dynamics : public ModuleTest, public testing::WithParamInterface<int> {
 protected:
  State state = random_state(static_cast<std::uint64_t>(GetParam()));

  VectorXd torques_of(const State& s) {
    write(s, *robot);
    robot->computeInverseDynamics();
    return eigen(robot->getJointAnglesTorque());
  }
  MatrixXd mass_matrix_of(const State& s) {
    compute(s, *robot);
    return robot->getGeneralizedMass().cast<double>();
  }
  State at_rest() const {
    State resting(*robot);
    resting.q = state.q;
    return resting;
  }
};
INSTANTIATE_TEST_SUITE_P(Seeds, Dynamics, testing::Range(0, 10));

TEST_P(Dynamics, MassMatrixAndTorquesAreThoseOfTheTextbook) {
  for (std::uint64_t k = 0; k < 30; ++k) {
    state = random_state(100 * k + static_cast<std::uint64_t>(GetParam()));
    if (k % 3 == 2) state.q(static_cast<long>(6 + k % 24)) *= 1e6F;  // many turns
    const Truth truth(state);
    const VectorXd scale = truth.force_scale(state).tail(24);
    EXPECT_TRUE(near(mass_matrix_of(state), truth.mass_matrix(), dynamic, truth.inertia_scale()));
    EXPECT_TRUE(near(torques_of(state), truth.forces(state).tail(24), dynamic, scale));
  }
}

TEST_P(Dynamics, PartialComJacobianIsMomentumPerVelocity) {
  const Truth truth(state);
  const MatrixXd H = mass_matrix_of(state);
  MatrixXd sum = MatrixXd::Zero(3, 30);
  for (int b = 0; b < 25; ++b) {
    ComJacobian J(3, b);  // of any size
    robot->computePartialComJacobian(static_cast<unsigned long>(b), J);
    const auto partial = static_cast<double>(robot->getPartialMass(static_cast<unsigned long>(b)));
    EXPECT_TRUE(near(J, truth.first_moment_jacobian(b), dynamic * partial)) << b;
    const bool leaf = b == 24 || parent(b + 1) != b;
    EXPECT_TRUE(!leaf || near(J.col(5 + b), Eigen::Vector3d::Zero(), 0)) << b;
    sum += J.cast<double>();
  }
  // Each body is left out once: the sum is 24 times the momentum of the whole robot.
  EXPECT_TRUE(near(sum, 24 * truth.pose(0).linear() * H.topRows(3), dynamic * sum.maxCoeff()));
}

// To the bit.
TEST_P(Dynamics, MassMatrixIsSymmetricAndCouplesNoTwoLimbs) {
  const MatrixXd H = mass_matrix_of(state);
  EXPECT_TRUE(near(H, H.transpose(), 0));
  for (int b = 1; b < 25; ++b) {
    for (int c = 1; c < b; ++c) EXPECT_TRUE(moves_with(b, c) || !(std::abs(H(5 + b, 5 + c)) > 0)) << b << ", " << c;
  }
  EXPECT_TRUE(near(H.topLeftCorner(3, 3), H(0, 0) * MatrixXd::Identity(3, 3), 0));
}

TEST_P(Dynamics, MassMatrixColumnsAreTorquesOfUnitAccelerations) {
  const MatrixXd H = mass_matrix_of(at_rest());
  const VectorXd resting = torques_of(at_rest());
  for (int d = 0; d < 30; ++d) {
    State accelerated = at_rest();
    accelerated.ddq(d) = 1;
    const VectorXd scale = Truth(state).force_scale(accelerated).tail(24);
    EXPECT_TRUE(near(torques_of(accelerated) - resting, H.col(d).tail(24), dynamic, scale)) << "coordinate " << d;
  }
}

// What the joints, the support of the root and the wrenches put in is the rate of all mechanical energy.
TEST_P(Dynamics, PowerBalances) {
  const Truth truth(state);
  const Truth::Vector dq = state.dq.cast<double>();
  const Truth::Vector ddq = state.ddq.cast<double>();
  Truth::Vector forces = truth.forces(state);
  forces.tail(24) = torques_of(state);
  double power = forces.dot(dq);
  for (int b = 0; b < 25; ++b) {
    const Truth::Vector6 twist = truth.jacobian(b, truth.pose(b).translation()) * dq;
    const Eigen::Matrix3d in_body = truth.pose(b).linear().transpose();
    power += (in_body * twist.tail(3)).dot(state.wrenches.col(b).head(3).cast<double>()) +
             (in_body * twist.head(3)).dot(state.wrenches.col(b).tail(3).cast<double>());
  }
  const double rate = derivative([&](double t) {
    const Truth then = truth.moved(dq, ddq, t);
    const Truth::Vector velocity = dq + t * ddq;
    return 0.5 * velocity.dot(then.mass_matrix() * velocity) + then.potential_energy();
  });
  EXPECT_NEAR(power, rate, dynamic * truth.force_scale(state).dot(dq.cwiseAbs()));
}

// Gravity does not tell one place or heading from another, and the mass matrix no pose of the root at all.
TEST_P(Dynamics, DoNotDependOnWhereTheRootIs) {
  const MatrixXd H = mass_matrix_of(state);
  const VectorXd torques = torques_of(state);
  const VectorXd scale = Truth(state).force_scale(state).tail(24);
  state.q.head(3) += Eigen::Vector3f(10, -20, 30);
  EXPECT_TRUE(near(torques_of(state), torques, 0));
  state.q(5) += 1;
  EXPECT_TRUE(near(torques_of(state), torques, dynamic, scale));
  state.q.segment<2>(3) += Eigen::Vector2f(0.3F, -0.4F);
  EXPECT_TRUE(near(mass_matrix_of(state), H, 0));
}

TEST_P(Dynamics, WrenchesReachOnlyTheJointsAboveThem) {
  const VectorXd without = torques_of(state);
  for (int b = 0; b < 25; ++b) {
    State loaded = state;
    loaded.wrenches.col(b) << 1, 2, 3, 4, 5, 6;
    const VectorXd change = (torques_of(loaded) - without).cwiseAbs();
    for (int i = 1; i < 25; ++i) EXPECT_EQ(change(i - 1) > 0, moves_with(b, i)) << "body " << b << ", joint of " << i;
  }
  EXPECT_TRUE(near(torques_of(state), without, 0));
}

class Order : public ModuleTest {
 protected:
  std::vector<float> mass_matrix() {
    robot->computeGeneralizedMass();
    const auto& H = robot->getGeneralizedMass();
    return {H.data(), H.data() + H.size()};
  }
};

TEST_F(Order, MassMatrixReadsTheLastJointPass) {
  compute(random_state(1), *robot);
  const auto first = mass_matrix();
  write(random_state(2), *robot);
  robot->computeFwdKinematicsOnlyRoot();
  EXPECT_TRUE(same_bits(mass_matrix(), first));
  const auto before = everything_readable(*robot);
  robot->computeInverseDynamics();
  const auto after = everything_readable(*robot);  // poses, centres of mass and jacobian are still of the first state
  EXPECT_TRUE(std::equal(after.begin(), after.begin() + Layout(*robot)[Result::mass_matrix].first, before.begin()));
  const auto second = mass_matrix();
  EXPECT_FALSE(same_bits(second, first));
  robot->computeFwdKinematicsExceptRoot();
  EXPECT_TRUE(same_bits(mass_matrix(), second));
}

// A joint pass is kept while no joint is set. What is computed with it is what an object computes that knows nothing of
// it.
TEST_F(Order, AKeptJointPassIsThatOfTheInputs) {
  const State first = random_state(21);
  const State second = random_state(22);
  const auto expect_fresh = [&](const State& inputs, const char* what) {
    const System fresh = module.create();
    write(inputs, *fresh);
    fresh->computeInverseDynamics();
    EXPECT_EQ(eigen(robot->getJointAnglesTorque()), eigen(fresh->getJointAnglesTorque())) << what;
    fresh->computeGeneralizedMass();
    robot->computeGeneralizedMass();
    EXPECT_EQ(robot->getGeneralizedMass(), fresh->getGeneralizedMass()) << what;
  };
  State state = first;
  write(state, *robot);
  robot->computeFwdKinematics();
  robot->computeInverseDynamics();
  expect_fresh(state, "after kinematics");
  state.q.head(6) = second.q.head(6);
  robot->setRootPose(state.root_pose());
  robot->computeInverseDynamics();
  expect_fresh(state, "with the root moved");
  state.dq = second.dq;
  robot->setJointAnglesVel(state.dq.tail(24).array());
  robot->setRootVelocity(state.root_velocity());
  robot->computeInverseDynamics();
  expect_fresh(state, "with other velocities");
  state.q[13] = second.q[13];
  robot->setJointAnglePos(7, state.q[13]);
  const auto copy = robot->clone();
  robot->computeInverseDynamics();
  expect_fresh(state, "with one joint set");
  copy->computeInverseDynamics();
  EXPECT_EQ(eigen(copy->getJointAnglesTorque()), eigen(robot->getJointAnglesTorque()));
  state.q.tail(24) = second.q.tail(24);
  robot->setJointAnglesPos(state.q.tail(24).array());
  robot->computeFwdKinematicsExceptRoot();
  robot->computeInverseDynamics();
  expect_fresh(state, "with all joints set");
}

// Either stage of the kinematics places the root, and nothing else need run before.
TEST_F(Order, PartialComJacobianTurnsWithTheRoot) {
  compute(random_state(1), *robot);
  for (const auto stage :
       {&tesk::RigidBodySystem::computeFwdKinematicsOnlyRoot, &tesk::RigidBodySystem::computeFwdKinematicsExceptRoot}) {
    robot->setRootPose(random_state(stage == &tesk::RigidBodySystem::computeFwdKinematicsOnlyRoot ? 2 : 3).root_pose());
    (robot.get()->*stage)();
    ComJacobian J;
    robot->computePartialComJacobian(4, J);
    const auto partial = static_cast<double>(robot->getPartialMass(4));
    EXPECT_TRUE(near(J.leftCols(3), partial * eigen(robot->getRootPose()).linear(), kinematic * partial));
  }
}

TEST_F(Order, PartialComJacobianIgnoresWhatIsNoBodyAndKeepsStorage) {
  compute(random_state(1), *robot);
  ComJacobian J = ComJacobian::Constant(3, 7, 42);
  for (const unsigned long b : {25UL, 26UL, ~0UL}) robot->computePartialComJacobian(b, J);
  EXPECT_TRUE(near(J, ComJacobian::Constant(3, 7, 42), 0));
  robot->computePartialComJacobian(0, J);
  const float* storage = J.data();
  robot->computePartialComJacobian(1, J);
  EXPECT_EQ(J.data(), storage);
}

}  // namespace
}  // namespace korvel::tests
