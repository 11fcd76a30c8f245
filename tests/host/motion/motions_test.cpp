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

Eigen::Matrix3f rotation(const QZ::Math::Transform& pose) {
  return (Eigen::Matrix3f() << pose.r00, pose.r01, pose.r02, pose.r10, pose.r11, pose.r12, pose.r20, pose.r21, pose.r22)
      .finished();
}

/// A committed motion, replayed on the robot.
class Motions : public testing::TestWithParam<const char*> {
 protected:
  explicit Motions(const std::string& name = GetParam())
      : system_(Module(KORVEL_MODULE).create()),
        trajectory_(read_motion(KORVEL_MOTIONS "/" + name + ".csv", joint_names(*system_))) {}

  void replay(Eigen::Index sample) { run_cycle(*system_, trajectory_.at(sample)); }
  const QZ::Math::Transform& pose(const char* body) const { return system_->getPose(system_->getBodyId(body)); }

  /// How far it is from where it was at first, and how far its angles are from those of the upright zero posture, in
  /// which it is flat.
  Eigen::AlignedBox1d displacement(const char* foot) {
    replay(0);
    const QZ::Math::Transform start = pose(foot);
    return range([&] {
      const QZ::Math::Transform& now = pose(foot);
      return std::hypot(now.tx - start.tx, now.ty - start.ty, now.tz - start.tz);
    });
  }
  Eigen::AlignedBox1d tilt(const char* foot) {
    const System zero = Module(KORVEL_MODULE).create();
    zero->computeFwdKinematics();
    const Eigen::Matrix3f flat = rotation(zero->getPose(zero->getBodyId(foot)));
    return range([&] { return (rotation(pose(foot)) - flat).cwiseAbs().maxCoeff(); });
  }

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

constexpr const char* feet[] = {"LAnkleRoll", "RAnkleRoll"};

TEST_P(Motions, AtHundredHertzFromRestToRestWithFlatFeet) {
  const Eigen::ArrayXd& time = trajectory_.time();
  const Eigen::Index last = trajectory_.size() - 1;
  EXPECT_GE(time[last] - time[0], GetParam() == std::string("fast_step") ? 2 : 5);
  EXPECT_LT((time.tail(last) - time.head(last) - 0.01).abs().maxCoeff(), 1e-6);
  for (const Eigen::Index sample : {Eigen::Index{0}, last}) {
    const Instant state = trajectory_.at(sample);
    EXPECT_LT(state.joint_vel.abs().maxCoeff(), 1e-3F);
    EXPECT_LT(std::abs(state.root.velocity.x) + std::abs(state.root.velocity.y) + std::abs(state.root.velocity.z),
              1e-3F);
  }
  for (const char* foot : feet) EXPECT_LT(tilt(foot).max()[0], 1e-3) << foot;
}

INSTANTIATE_TEST_SUITE_P(All, Motions, testing::Values("squat", "wave", "weight_shift", "slow_step", "fast_step"));

struct OnTheSpot : Motions {};

TEST_P(OnTheSpot, FeetStandStill) {
  for (const char* foot : feet) EXPECT_LT(displacement(foot).max()[0], 1e-3) << foot;
}

INSTANTIATE_TEST_SUITE_P(All, OnTheSpot, testing::Values("squat", "wave", "weight_shift"));

struct Step : Motions {};

TEST_P(Step, LiftsTheRightFootAndPutsItDownAhead) {
  EXPECT_LT(displacement(feet[0]).max()[0], 1e-3);
  replay(0);
  const QZ::Math::Transform start = pose(feet[1]);
  EXPECT_GT(range([&] { return pose(feet[1]).tz; }).max()[0], start.tz + 0.02F);
  replay(trajectory_.size() - 1);
  EXPECT_NEAR(pose(feet[1]).tx, start.tx + 0.06F, 1e-3F);
  EXPECT_NEAR(pose(feet[1]).ty, start.ty, 1e-3F);
  EXPECT_NEAR(pose(feet[1]).tz, start.tz, 1e-3F);
}

INSTANTIATE_TEST_SUITE_P(All, Step, testing::Values("slow_step", "fast_step"));

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
