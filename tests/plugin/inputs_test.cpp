#include "support/expect.h"
#include "support/truth.h"

namespace korvel::tests {
namespace {

class Inputs : public ModuleTest {
 protected:
  void expect_torques_of(const State& state, const Truth& truth) {
    const Eigen::VectorXd scale = truth.force_scale(state).tail(24);
    EXPECT_TRUE(near(eigen(robot->getJointAnglesTorque()), truth.forces(state).tail(24), dynamic, scale));
  }
};

TEST_F(Inputs, AWrenchMayBeGivenInAnotherFrame) {
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    State state = random_state(seed);
    const int b = static_cast<int>(seed % 25);
    const QZ::Math::Transform frame = seed < 25 ? QZ::Math::Transform() : random_pose(1000 + seed);
    write(state, *robot);
    const float* given = state.wrenches.col(b).data();
    robot->setExternalWrench(seed % 25, std::vector<float>(given, given + 6), frame);
    robot->computeInverseDynamics();

    const Eigen::Affine3d pose = eigen(frame);
    const Eigen::Vector3d f = pose.linear() * state.wrenches.col(b).head(3).cast<double>();
    const Eigen::Vector3d n = pose.linear() * state.wrenches.col(b).tail(3).cast<double>();
    state.wrenches.col(b) << f.cast<float>(), (n + pose.translation().cross(f)).cast<float>();
    expect_torques_of(state, Truth(state));
  }
}

// Only the lower triangle counts: the upper one is filled with what would spread.
TEST_F(Inputs, NewInertiasReachEveryComputationOfEveryObject) {
  Random random(3);
  Bodies bodies = robot_bodies();
  const System other = module.create();
  compute(random_state(0), *robot);
  for (unsigned long b = 0; b < 25; ++b) {
    Eigen::Vector3f c;
    Eigen::Matrix3f A;
    random.fill(c, 0.1F);
    random.fill(A, 0.05F);
    const float m = 1 + 0.5F * random.unit();
    Eigen::Matrix3f Ic = A * A.transpose();
    bodies[b] = {bodies[b].parent, bodies[b].frame, static_cast<double>(m), c.cast<double>(), Ic.cast<double>()};
    Ic(0, 1) = Ic(0, 2) = Ic(1, 2) = NAN;
    other->setBodyInertia(b, m, {c.x(), c.y(), c.z()}, Ic);
  }
  // Where the bodies were before, with their new masses.
  const Truth in_root(bodies, Eigen::Affine3d::Identity(), random_state(0).q.tail(24).cast<double>());
  const Eigen::Vector3d partial = in_root.first_moment(7) / robot->getPartialMass(7);
  EXPECT_TRUE(near(eigen(robot->computePartialComPositionInRoot(7)), partial, 2 * kinematic));
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    const State state = random_state(seed);
    const Truth truth(bodies, state);
    compute(state, *robot);
    EXPECT_TRUE(near(eigen(robot->getComPosition(seed)), truth.com(static_cast<int>(seed)), 2 * kinematic));
    EXPECT_TRUE(near(eigen(robot->getComPosition()), truth.first_moment() / robot->getMass(), 2 * kinematic));
    EXPECT_TRUE(near(robot->getGeneralizedMass(), truth.mass_matrix(), dynamic, truth.inertia_scale()));
    expect_torques_of(state, truth);
  }
}

}  // namespace
}  // namespace korvel::tests
