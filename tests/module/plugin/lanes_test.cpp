#include <algorithm>
#include <array>

#include "support/expect.h"

namespace korvel::tests {
namespace {

/// -0 as 0: a term that is known to vanish is dropped in one of the two, and its sign with it.
std::vector<float> unsigned_zeros(std::vector<float> values) {
  for (float& value : values) value += 0.0F;
  return values;
}

std::vector<float> partial_results(tesk::RigidBodySystem& robot) {
  std::vector<float> values;
  tesk::RigidBodySystem::ComJacobian J;
  for (unsigned long b = 0; b < robot.getNbBodies(); ++b) {
    robot.computePartialComJacobian(b, J);
    values.insert(values.end(), J.data(), J.data() + J.size());
    const auto com = robot.computePartialComPositionInRoot(b);
    values.insert(values.end(), {com.x, com.y, com.z});
  }
  return values;
}

class Lanes : public testing::Test {
 protected:
  void SetUp() override {
    if (module_path() == std::string(KORVEL_PER_BODY_MODULE)) GTEST_SKIP() << "the reference itself";
  }
  void expect_same_bits() {
    EXPECT_TRUE(
        same_bits(unsigned_zeros(everything_readable(*in_lanes)), unsigned_zeros(everything_readable(*per_body))));
    EXPECT_TRUE(same_bits(unsigned_zeros(partial_results(*in_lanes)), unsigned_zeros(partial_results(*per_body))));
  }

  Module lanes_module{module_path()};
  Module per_body_module{KORVEL_PER_BODY_MODULE};
  System in_lanes = lanes_module.create();
  System per_body = per_body_module.create();
};

// Whatever comes first works on what the nodes are made with, which no pass has filled yet.
TEST_F(Lanes, GiveTheBitsOfOneNodePerBodyOnFreshObjectsInEveryOrder) {
  using Interface = tesk::RigidBodySystem;
  using Computation = void (*)(Interface&);
  const std::array<Computation, 5> computations{
      [](Interface& robot) { robot.computeFwdKinematicsExceptRoot(); },
      [](Interface& robot) { robot.computeFwdKinematicsOnlyRoot(); },
      [](Interface& robot) { robot.computeGeneralizedMass(); },
      [](Interface& robot) { partial_results(robot); },
      [](Interface& robot) { robot.computeInverseDynamics(); },
  };
  std::array<std::size_t, 5> order{0, 1, 2, 3, 4};
  do {
    in_lanes = lanes_module.create();
    per_body = per_body_module.create();
    for (const std::size_t next : order) {
      for (Interface* robot : {in_lanes.get(), per_body.get()}) computations[next](*robot);
      expect_same_bits();
    }
    for (Interface* robot : {in_lanes.get(), per_body.get()}) write(random_state(1, *robot), *robot);
    for (const std::size_t next : order) {
      for (Interface* robot : {in_lanes.get(), per_body.get()}) computations[next](*robot);
      expect_same_bits();
    }
  } while (std::next_permutation(order.begin(), order.end()) && !HasFailure());
}

// The arms have no sixth level: what is not finite in the lane beside it must not come back from there.
TEST_F(Lanes, KeepWhatIsNotFiniteInItsOwnLimb) {
  const auto first = in_lanes->getJointAngleId("LShoulderPitch");
  const auto last = in_lanes->getJointAngleId("LWristYaw");
  compute(random_state(1, *in_lanes), *in_lanes);
  const Eigen::VectorXd before = eigen(in_lanes->getJointAnglesTorque());
  for (tesk::RigidBodySystem* robot : {in_lanes.get(), per_body.get()}) {
    write(random_state(1, *in_lanes), *robot);
    robot->setJointAngleAcc(last, std::numeric_limits<float>::infinity());
    robot->computeInverseDynamics();
  }
  for (unsigned long j = 0; j < 24; ++j) {
    if (j < first || j > last) {
      EXPECT_EQ(in_lanes->getJointAngleTorque(j), before[static_cast<long>(j)]) << j;
    } else {
      EXPECT_EQ(std::isfinite(in_lanes->getJointAngleTorque(j)), std::isfinite(per_body->getJointAngleTorque(j))) << j;
    }
  }
  EXPECT_TRUE(std::isinf(in_lanes->getJointAngleTorque(last)));  // and not NaN, which the lane below it is
}

}  // namespace
}  // namespace korvel::tests
