#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>

#include "host/motion/cycle.h"
#include "host/motion/motion.h"
#include "host/motion/trajectory.h"
#include "host/robot/module.h"
#include "host/robot/robot.h"

namespace korvel::host {
namespace {

/// A committed motion, replayed on the robot.
class Motions : public testing::TestWithParam<const char*> {
 protected:
  explicit Motions(const std::string& name = GetParam())
      : system_(Module(KORVEL_MODULE).create()),
        trajectory_(read_motion(KORVEL_MOTIONS "/" + name + ".csv", joint_names(*system_))) {}

  void replay(Eigen::Index sample) { run_cycle(*system_, trajectory_.at(sample)); }
  const QZ::Math::Transform& pose(const char* body) const { return system_->getPose(system_->getBodyId(body)); }

  /// Range of a value over all samples.
  template <typename Value>
  Eigen::AlignedBox1d range(Value value) {
    Eigen::AlignedBox1d range;
    for (Eigen::Index sample = 0; sample < trajectory_.size(); ++sample) {
      replay(sample);
      range.extend(Eigen::Matrix<double, 1, 1>(static_cast<double>(value())));
    }
    return range;
  }

  System system_;
  Trajectory trajectory_;
};

Eigen::Matrix3f rotation(const QZ::Math::Transform& pose) {
  return (Eigen::Matrix3f() << pose.r00, pose.r01, pose.r02, pose.r10, pose.r11, pose.r12, pose.r20, pose.r21, pose.r22)
      .finished();
}

constexpr const char* feet[] = {"LAnkleRoll", "RAnkleRoll"};

TEST_P(Motions, LastFiveSecondsAtHundredHertzFromRestToRest) {
  const Eigen::ArrayXd& time = trajectory_.time();
  const Eigen::Index last = trajectory_.size() - 1;
  EXPECT_GE(time[last] - time[0], 5);
  EXPECT_LT((time.tail(last) - time.head(last) - 0.01).abs().maxCoeff(), 1e-6);
  for (const Eigen::Index sample : {Eigen::Index{0}, last}) {
    const Instant state = trajectory_.at(sample);
    EXPECT_LT(state.joint_vel.abs().maxCoeff(), 1e-3F);
    EXPECT_LT(std::abs(state.root.velocity.x) + std::abs(state.root.velocity.y) + std::abs(state.root.velocity.z),
              1e-3F);
  }
}

// A foot is flat when it is turned as in the upright zero posture.
TEST_P(Motions, FeetStandStillAndFlat) {
  const System zero = Module(KORVEL_MODULE).create();
  zero->computeFwdKinematics();
  replay(0);
  for (const char* foot : feet) {
    const QZ::Math::Transform start = pose(foot);
    const QZ::Math::Transform flat = zero->getPose(zero->getBodyId(foot));
    const auto distance = [&] {
      const QZ::Math::Transform& now = pose(foot);
      return std::hypot(now.tx - start.tx, now.ty - start.ty, now.tz - start.tz);
    };
    const auto turn = [&] { return (rotation(pose(foot)) - rotation(flat)).cwiseAbs().maxCoeff(); };
    EXPECT_LT(range(distance).max()[0], 1e-3) << foot;
    EXPECT_LT(range(turn).max()[0], 1e-3) << foot;
  }
}

INSTANTIATE_TEST_SUITE_P(All, Motions, testing::Values("squat", "wave", "weight_shift"));

struct Squat : Motions {
  Squat() : Motions("squat") {}
};
struct WeightShift : Motions {
  WeightShift() : Motions("weight_shift") {}
};
struct Wave : Motions {
  Wave() : Motions("wave") {}
};

TEST_F(Squat, LowersTheRootAndKeepsTheCentreOfMassOverTheFeet) {
  EXPECT_GT(range([&] { return pose("Torso").tz; }).sizes()[0], 0.06);
  const auto ahead_of_ankles = range([&] { return system_->getComPosition().x - pose(feet[0]).tx; });
  EXPECT_GT(ahead_of_ankles.min()[0], -0.02);
  EXPECT_LT(ahead_of_ankles.max()[0], 0.05);
}

TEST_F(WeightShift, CarriesTheCentreOfMassFromFootToFoot) {
  const auto com_y = range([&] { return system_->getComPosition().y; });
  EXPECT_NEAR(com_y.max()[0], pose(feet[0]).ty, 0.005);
  EXPECT_NEAR(com_y.min()[0], pose(feet[1]).ty, 0.005);
}

TEST_F(Wave, LiftsTheHandAboveTheHead) {
  EXPECT_GT(range([&] { return pose("RWristYaw").tz - pose("HeadPitch").tz; }).max()[0], 0.05);
}

}  // namespace
}  // namespace korvel::host
