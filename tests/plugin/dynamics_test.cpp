#include "support/expect.h"
#include "support/truth.h"

namespace korvel::tests {
namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using ComJacobian = tesk::RigidBodySystem::ComJacobian;

/// Body b is i or hangs below it.
bool moves_with(int b, int i) {
  while (b > i) b = Truth::parent(b);
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
};
INSTANTIATE_TEST_SUITE_P(Seeds, Dynamics, testing::Range(0, 10));

TEST_P(Dynamics, MassMatrixAndTorquesAreThoseOfTheTextbook) {
  for (std::uint64_t k = 0; k < 30; ++k) {
    state = random_state(100 * k + static_cast<std::uint64_t>(GetParam()));
    const Truth truth(state);
    const VectorXd scale = truth.force_scale(state).tail(24);
    EXPECT_TRUE(near(mass_matrix_of(state), truth.mass_matrix(), dynamic, truth.inertia_scale()));
    EXPECT_TRUE(near(torques_of(state), truth.forces(state).tail(24), dynamic, scale));
  }
}

TEST_P(Dynamics, PartialComJacobianIsMomentumPerVelocity) {
  const Truth truth(state);
  compute(state, *robot);
  for (int b = 0; b < 25; ++b) {
    ComJacobian J(3, b);  // of any size
    robot->computePartialComJacobian(static_cast<unsigned long>(b), J);
    const auto partial = static_cast<double>(robot->getPartialMass(static_cast<unsigned long>(b)));
    EXPECT_TRUE(near(J, truth.first_moment_jacobian(b), dynamic * partial)) << b;
    const bool leaf = b == 24 || Truth::parent(b + 1) != b;
    EXPECT_TRUE(!leaf || near(J.col(5 + b), Eigen::Vector3d::Zero(), 0)) << b;
  }
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
  EXPECT_TRUE(std::equal(after.begin(), after.begin() + Shown::mass_matrix, before.begin()));
  const auto second = mass_matrix();
  EXPECT_FALSE(same_bits(second, first));
  robot->computeFwdKinematicsExceptRoot();
  EXPECT_TRUE(same_bits(mass_matrix(), second));
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
