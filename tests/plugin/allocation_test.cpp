#include "host/validate/observe/allocations.h"
#include "states/states.h"
#include "support/expect.h"

namespace korvel::tests {
namespace {

using Robot = tesk::RigidBodySystem;
using validate::allocations;
using validate::FailingAllocations;
using ComJacobian = Robot::ComJacobian;

class Allocation : public ModuleTest {};

TEST_F(Allocation, IsNotDoneByComputationsAndAccessors) {
  const Eigen::ArrayXf values = Eigen::ArrayXf::Constant(24, 0.5F);
  const std::vector<float> wrench(6, 1);
  const std::string name = "RWristYaw";
  const QZ::Math::Transform pose;
  ComJacobian J(3, 30);
  const auto sink = [](const auto&...) {};
  Robot& r = *robot;
  const long made = allocations().made;

  r.setRootPose(pose), r.setRootVelocity({}), r.setRootAcceleration({});
  r.setJointAnglesPos(values), r.setJointAnglesVel(values), r.setJointAnglesAcc(values);
  r.setBodyInertia(7, 1, {}, Eigen::Matrix3f::Identity());
  r.computeFwdKinematics(), r.computeFwdKinematicsExceptRoot(), r.computeFwdKinematicsOnlyRoot();
  r.computeGeneralizedMass(), r.computeInverseDynamics();
  for (unsigned long b = 0; b < r.getNbBodies(); ++b) {
    r.setExternalWrench(b, wrench), r.setExternalWrench(b, wrench, pose), r.setPose(b, pose);
    r.computePartialComJacobian(b, J);
    sink(r.computePartialComPositionInRoot(b), r.getComPosition(b), r.getMass(b), r.getPartialMass(b));
    sink(r.getPose(b), r.getPoseInRoot(b), r.getBodyName(b));
  }
  for (unsigned long j = 0; j < r.getNbJointAngles(); ++j) {
    r.setJointAnglePos(j, 1), r.setJointAngleVel(j, 1), r.setJointAngleAcc(j, 1);
    sink(r.getJointAnglePos(j), r.getJointAngleVel(j), r.getJointAngleAcc(j), r.getJointAngleTorque(j));
    sink(r.getJointAngleName(j));
  }
  r.setVolatilePose(0, pose);
  sink(r.getVolatilePose(0), r.getRootPose(), r.getRootVelocity(), r.getRootAcceleration(), r.getComPosition());
  sink(r.getJointAnglesPos(), r.getJointAnglesVel(), r.getJointAnglesAcc(), r.getJointAnglesTorque(), r.getMass());
  sink(r.getGeneralizedMass(), r.getJacobianInRoot(), r.getComPositionInRoot(), r.getNbVolatileFrames());
  sink(r.getJointAngleId(name), r.getBodyId(name), r.getRootName(), r.getName());
  EXPECT_EQ(allocations().made, made);

  const auto copy = robot->clone();
  EXPECT_EQ(allocations().made, made + 5);  // the object and its four buffers: it is counted indeed
}

struct Operation {
  const char* name;
  void (*run)(const Module&, Robot&, ComJacobian&);
};
void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }
const std::string unknown(64, '?');

class Exhaustion : public ModuleTest, public testing::WithParamInterface<std::tuple<Operation, bool>> {};

// Every allocation fails in turn, alone or with all after it, until the operation runs through.
TEST_P(Exhaustion, ThrowsLeaksNothingAndChangesNothing) {
  const auto& [operation, all_after] = GetParam();
  compute(random_state(1), *robot);
  const auto before = everything_readable(*robot);
  const ComJacobian untouched = ComJacobian::Constant(3, 7, 42);
  ComJacobian J = untouched;
  long refused = 0;
  for (bool happened = true; happened; ++refused) {
    ASSERT_LT(refused, 100);
    const long live = allocations().live;
    long kept = 0;
    bool threw = false;
    {
      const FailingAllocations failing(refused + 1, all_after);
      try {
        operation.run(module, *robot, J);
      } catch (const std::bad_alloc&) {
        threw = true;
      } catch (const std::out_of_range&) {
        // Also without memory: the language runtime keeps some for exceptions themselves.
        threw = FailingAllocations::happened();
      }
      happened = FailingAllocations::happened();
      kept = allocations().live - live;
    }
    EXPECT_EQ(threw, happened) << refused;
    EXPECT_TRUE(!happened || (kept == 0 && near(J, untouched, 0))) << refused;
    EXPECT_TRUE(same_bits(everything_readable(*robot), before)) << refused;
  }
  EXPECT_GT(refused, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, Exhaustion,
    testing::Combine(
        testing::Values(
            Operation{"create", [](const Module& m, Robot&, ComJacobian&) { m.create(); }},
            Operation{"clone", [](const Module&, Robot& r, ComJacobian&) { r.clone(); }},
            Operation{"getParentsVector", [](const Module&, Robot& r, ComJacobian&) { r.getParentsVector(); }},
            Operation{"getDofNumbersVector", [](const Module&, Robot& r, ComJacobian&) { r.getDofNumbersVector(); }},
            Operation{"getDofIndexesVector", [](const Module&, Robot& r, ComJacobian&) { r.getDofIndexesVector(); }},
            Operation{"getJointAngleId", [](const Module&, Robot& r, ComJacobian&) { r.getJointAngleId(unknown); }},
            Operation{"getBodyId", [](const Module&, Robot& r, ComJacobian&) { r.getBodyId(unknown); }},
            Operation{"computePartialComJacobian",
                      [](const Module&, Robot& r, ComJacobian& J) { r.computePartialComJacobian(3, J); }}),
        testing::Bool()),
    [](const auto& test) {
      return std::string(std::get<0>(test.param).name) + (std::get<1>(test.param) ? "_AllAfter" : "_One");
    });

}  // namespace
}  // namespace korvel::tests
