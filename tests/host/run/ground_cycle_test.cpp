#include "host/run/ground_cycle.h"

#include <gtest/gtest.h>

#include "host/robot/module.h"
#include "support/expect.h"
#include "support/truth.h"

namespace korvel::host {
namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

Instant instant_of(const State& state) {
  return {{state.root_pose(), state.root_velocity(), state.root_acceleration()},
          state.q.tail(24).array(),
          state.dq.tail(24).array(),
          state.ddq.tail(24).array()};
}

class OnGround : public testing::Test {
 protected:
  OnGround() {
    for (const char* foot : {"LAnkleRoll", "RAnkleRoll"}) {
      ground_.soles.emplace_back(
          system_->getBodyId(foot),
          std::vector<Vector3d>{
              {-0.045, 0.04, 0.1}, {-0.045, -0.04, 0.1}, {-0.045, -0.04, -0.05}, {-0.045, 0.04, -0.05}},
          0.6);
    }
  }

  /// One sample in which the feet are in contact, or not.
  Standing run(const State& state, bool left, bool right) {
    return cycle_.run(*system_, instant_of(state), {{left ? 1.0 : 0.0}, {right ? 1.0 : 0.0}}, 0);
  }

  /// The wrenches of the stance on the bodies, and none else.
  void set_wrenches(State& state, const contact::Stance& stance) const {
    state.wrenches.setZero();
    const tests::Truth placed(state);
    for (std::size_t i = 0; i < ground_.soles.size(); ++i) {
      const auto body = static_cast<Eigen::Index>(ground_.soles[i].body());
      const Matrix3d to_body = placed.pose(static_cast<int>(body)).linear().transpose();
      const contact::Wrench& wrench = stance.soles[i].wrench_world;
      state.wrenches.col(body) << (to_body * wrench.force).cast<float>(), (to_body * wrench.moment).cast<float>();
    }
  }

  double weight() const { return 9.81 * static_cast<double>(system_->getMass()); }

  System system_ = Module(KORVEL_MODULE).create();
  Ground ground_;
  GroundCycle cycle_{ground_, *system_};
};

// Without contact nothing is borne, and about the root's origin the whole wrench is what a textbook has for the root.
TEST_F(OnGround, RequiredWrenchIsTheRootForceOfTheTextbook) {
  for (std::uint64_t seed = 0; seed < 1000; ++seed) {
    State state = random_state(seed, *system_);
    // Up to 10 rad/s.
    state.dq.tail(27) *= 10 / state.dq.tail(27).cwiseAbs().maxCoeff();
    state.wrenches.setZero();
    const tests::Truth truth(state);
    const Eigen::VectorXd forces = truth.forces(state);
    const Matrix3d to_world = truth.pose(0).linear();
    const auto [stance, soles, root, required] = run(state, false, false);
    EXPECT_LT((required.force - to_world * forces.head(3)).norm(), 3e-6 * weight()) << seed;
    EXPECT_LT((required.moment - to_world * forces.segment(3, 3)).norm(), 3e-6 * weight() * 0.1) << seed;
    EXPECT_EQ(stance.verdict, contact::Verdict::nothing_bears);
    for (const contact::SoleLoad& load : stance.soles)
      EXPECT_EQ(load.wrench_world.force.norm() + load.wrench_world.moment.norm(), 0);
  }
}

// The reported wrenches are those with which torques were computed, on the bodies and in the frames that are said.
TEST_F(OnGround, TorquesAreThoseOfTheTextbookWithTheReportedWrenches) {
  const bool contacts[][2] = {{true, true}, {true, false}, {false, true}, {false, false}};
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    State state = random_state(seed, *system_);
    const auto& [left, right] = contacts[seed % 4];
    const Standing standing = run(state, left, right);
    set_wrenches(state, standing.stance);
    for (std::size_t i = 0; i < 2; ++i) {
      if (i == 0 ? left : right) continue;
      EXPECT_EQ(state.wrenches.col(static_cast<Eigen::Index>(ground_.soles[i].body())).norm(), 0);
    }
    const tests::Truth truth(state);
    const Eigen::VectorXd forces = truth.forces(state);
    EXPECT_TRUE(tests::near(tests::eigen(system_->getJointAnglesTorque()), forces.tail(24), tests::dynamic,
                            truth.force_scale(state).tail(24)))
        << seed;
  }
}

}  // namespace
}  // namespace korvel::host
