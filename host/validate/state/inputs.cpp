#include <algorithm>
#include <cmath>
#include <limits>

#include "host/validate/core/require.h"
#include "host/validate/observe/require_same.h"
#include "host/validate/state/state.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;
using Robot = tesk::RigidBodySystem;

/// The setters and getters of the joints' positions, velocities or accelerations.
struct JointInput {
  Result result;
  void (Robot::*set)(unsigned long, float) noexcept;
  float (Robot::*get)(unsigned long) const noexcept;
  void (Robot::*set_all)(const Robot::JointValues&) noexcept;
  tesk::FloatRange (Robot::*view)() const noexcept;
};

const JointInput joint_inputs[] = {{Result::positions, &Robot::setJointAnglePos, &Robot::getJointAnglePos,
                                    &Robot::setJointAnglesPos, &Robot::getJointAnglesPos},
                                   {Result::velocities, &Robot::setJointAngleVel, &Robot::getJointAngleVel,
                                    &Robot::setJointAnglesVel, &Robot::getJointAnglesVel},
                                   {Result::accelerations, &Robot::setJointAngleAcc, &Robot::getJointAngleAcc,
                                    &Robot::setJointAnglesAcc, &Robot::getJointAnglesAcc}};

/// Values that arithmetic or a conversion would not leave alone, among others.
float awkward(Random& random) {
  constexpr float values[] = {-0.0F, std::numeric_limits<float>::denorm_min(), std::numeric_limits<float>::max(),
                              -std::numeric_limits<float>::infinity()};
  const std::uint64_t choice = random.integer() % 16;
  return choice < std::size(values) ? values[choice] : random(1000);
}

std::string joints_singly(const Subject& subject) {
  const host::System robot = create(subject);
  compute(random_state(subject.seed, *robot), *robot);
  Random random(subject.seed);
  const Layout shown(*robot);
  std::vector<float> expected = everything_readable(*robot);
  for (const JointInput& input : joint_inputs) {
    const char* piece = entry(input.result).piece;
    for (unsigned long j = 0; j < robot->getNbJointAngles(); ++j) {
      const float value = awkward(random);
      ((*robot).*input.set)(j, value);
      expected[static_cast<std::size_t>(shown[input.result].first) + j] = value;
      require_same(*robot, expected, fmt::format("setting {} {}", piece, j));
      require(same(((*robot).*input.get)(j), value), "{} {} reads {}, {} was set", piece, j, ((*robot).*input.get)(j),
              value);
    }
  }
  return fmt::format("{} values", std::size(joint_inputs) * robot->getNbJointAngles());
}

std::string joints_together(const Subject& subject) {
  const host::System robot = create(subject);
  compute(random_state(subject.seed, *robot), *robot);
  Random random(subject.seed);
  const Layout shown(*robot);
  std::vector<float> expected = everything_readable(*robot);
  const auto joints = static_cast<Eigen::Index>(robot->getNbJointAngles());
  Eigen::ArrayXf values(joints + 16);
  for (const JointInput& input : joint_inputs) {
    for (const Eigen::Index further : {0, 1, 7}) {
      for (const Eigen::Index start : {0, 1, 5}) {  // also where no vector register is aligned
        for (float& value : values) value = awkward(random);
        ((*robot).*input.set_all)(values.segment(start, joints + further));
        std::copy_n(values.data() + start, joints, expected.begin() + shown[input.result].first);
        require_same(*robot, expected,
                     fmt::format("setting every {} from {} values", entry(input.result).piece, joints + further));
        require(((*robot).*input.view)().size() == static_cast<std::size_t>(joints), "a view has changed its size");
      }
    }
  }
  return fmt::format("{} vectors", std::size(joint_inputs) * 9);
}

std::string root_rates(const Subject& subject) {
  constexpr int count = 64;
  const host::System robot = create(subject);
  compute(random_state(subject.seed, *robot), *robot);
  Random random(subject.seed);
  const Layout shown(*robot);
  std::vector<float> expected = everything_readable(*robot);
  const auto six = [&](Result rates) {
    const auto first = expected.begin() + shown[rates].first;
    std::generate_n(first, 6, [&] { return awkward(random); });
    return QZ::Math::Velocity6D(first[0], first[1], first[2], first[3], first[4], first[5]);
  };
  for (int i = 0; i < count; ++i) {
    robot->setRootVelocity(six(Result::root_velocity));
    require_same(*robot, expected, "setRootVelocity");
    robot->setRootAcceleration(six(Result::root_acceleration));
    require_same(*robot, expected, "setRootAcceleration");
  }
  return fmt::format("{} of each", count);
}

/// A pose as it is kept: translation to the bit, rotation from three rounded angles.
std::string root_pose(const Subject& subject) {
  constexpr int count = 1024;
  // Three angles up to pi, each rounded by pi 2^-24; as much again for their sines and for the products of these.
  constexpr double bound = 2 * 3 * 3.15 * 0x1p-24;
  double largest = 0;
  const host::System robot = create(subject);
  Random random(subject.seed);
  for (int i = 0; i < count; ++i) {
    // Every fourth within 1e-3 of the pitch where roll and yaw turn about one axis, every eighth on it.
    const float right_angle = i % 8 < 4 ? 1.5707964F : -1.5707964F;
    const float pitch = i % 4 != 0 ? random(1.6F) : right_angle + (i % 8 == 0 ? 0 : random(1e-3F));
    const QZ::Math::Transform pose =
        QZ::Math::transformFromPosition6D({random(100), random(100), random(100), random(3.2F), pitch, random(3.2F)});
    std::vector<float> expected = everything_readable(*robot);
    robot->setRootPose(pose);
    const QZ::Math::Transform& kept = robot->getRootPose();
    require(same(kept.tx, pose.tx) && same(kept.ty, pose.ty) && same(kept.tz, pose.tz),
            "the root is at ({}, {}, {}), set to ({}, {}, {})", kept.tx, kept.ty, kept.tz, pose.tx, pose.ty, pose.tz);
    for (const auto entry : {&QZ::Math::Transform::r00, &QZ::Math::Transform::r01, &QZ::Math::Transform::r02,
                             &QZ::Math::Transform::r10, &QZ::Math::Transform::r11, &QZ::Math::Transform::r12,
                             &QZ::Math::Transform::r20, &QZ::Math::Transform::r21, &QZ::Math::Transform::r22}) {
      const double deviation = std::abs(static_cast<double>(kept.*entry) - static_cast<double>(pose.*entry));
      require(deviation <= bound,
              "an entry of the root's rotation reads {}, {} was set, at a pitch of {}; bound {:.1e}", kept.*entry,
              pose.*entry, pitch, bound);
      largest = std::max(largest, deviation);
    }
    std::copy_n(&kept.r00, 12, expected.begin());
    require_same(*robot, expected, "setRootPose");
  }
  return fmt::format("largest deviation {:.1e}, bound {:.1e}, {} poses", largest, bound, count);
}

std::string wrenches(const Subject& subject) {
  const host::System robot = create(subject);
  return with_seeds(subject, 16, [&](std::uint64_t seed) {
    const State state = random_state(seed, *robot);
    const host::System fresh = create(subject);
    State unloaded = state;
    unloaded.wrenches.setZero();
    compute(unloaded, *fresh);
    const float torque = fresh->getJointAngleTorque(0);
    compute(state, *fresh);
    require(!same(fresh->getJointAngleTorque(0), torque), "wrenches make no difference, seed {}", seed);

    compute(random_state(seed + 1, *robot), *robot);  // wrenches of which none must be left
    const std::vector<float> before = everything_readable(*robot);
    for (unsigned long b = 0; b < robot->getNbBodies(); ++b) {
      std::vector<float> given = state.wrench(b);
      given.resize(6 + b % 3, 1e6F);  // further ones are ignored
      robot->setExternalWrench(b, given);
    }
    require_same(*robot, before, "setExternalWrench");
    robot->setRootPose(state.root_pose());
    robot->setRootVelocity(fresh->getRootVelocity());
    robot->setRootAcceleration(fresh->getRootAcceleration());
    robot->setJointAnglesPos(joints_of(state.q).array());
    robot->setJointAnglesVel(joints_of(state.dq).array());
    robot->setJointAnglesAcc(joints_of(state.ddq).array());
    for (int again = 0; again < 2; ++again) {  // they are kept
      robot->computeFwdKinematics();
      robot->computeInverseDynamics();
      robot->computeGeneralizedMass();
      require_same(*robot, everything_readable(*fresh),
                   fmt::format("new wrenches and inverse dynamics, seed {}", seed));
    }
  });
}

std::string stored_poses(const Subject& subject) {
  const host::System robot = create(subject);
  const State state = random_state(subject.seed, *robot);
  compute(state, *robot);
  const std::vector<float> computed = everything_readable(*robot);
  const QZ::Math::Transform pose = random_pose(subject.seed + 1);
  for (unsigned long b = 0; b < robot->getNbBodies(); ++b) {
    robot->setPose(b, pose);
    require(same(robot->getPose(b), pose), "setPose of body {} does not read back", b);
    // The identity in place of the pose tells where the centre of mass is in the body.
    const auto com = robot->getComPosition(b);
    robot->setPose(b, {});
    require(same(com, pose * robot->getComPosition(b)), "the centre of mass of body {} does not follow setPose", b);
    robot->setPose(b, pose);
  }
  require_same(*robot, computed, "setPose of every body", {Result::poses});
  robot->computeFwdKinematicsExceptRoot();
  robot->computeGeneralizedMass();
  robot->computeInverseDynamics();
  for (unsigned long b = 0; b < robot->getNbBodies(); ++b) {
    require(same(robot->getPose(b), pose), "the pose that was set for body {} is overwritten too early", b);
  }
  robot->computeFwdKinematicsOnlyRoot();
  require_same(*robot, computed, "setPose and computeFwdKinematicsOnlyRoot");
  return fmt::format("{} bodies", robot->getNbBodies());
}

std::string volatile_frames(const Subject& subject) {
  const host::System robot = create(subject);
  const host::System without = create(subject);
  Random random(subject.seed);
  for (unsigned long v = 0; v < robot->getNbVolatileFrames(); ++v) {
    QZ::Math::Transform any;  // no rotation: it is stored, not understood
    for (const auto entry : {&QZ::Math::Transform::r00, &QZ::Math::Transform::r12, &QZ::Math::Transform::tz}) {
      any.*entry = awkward(random);
    }
    robot->setVolatilePose(v, any);
    compute(random_state(subject.seed, *robot), *robot);
    require(same(robot->getVolatilePose(v), any), "volatile frame {} does not read back after every computation", v);
  }
  compute(random_state(subject.seed, *without), *without);
  require_same(*robot, everything_readable(*without), "setVolatilePose and every computation",
               {Result::volatile_poses});
  return fmt::format("{} frames", robot->getNbVolatileFrames());
}

}  // namespace

Checks input_checks() {
  return {
      {"state.joint-setters", "A joint value is stored to the bit and touches nothing else.", 2, 30s, joints_singly},
      {"state.joint-vectors", "All joint values are stored to the bit, further ones ignored.", 2, 30s, joints_together},
      {"state.root-rates", "The root's rates are stored to the bit and touch nothing else.", 2, 30s, root_rates},
      {"state.root-pose", "The root's pose is kept by its three angles; other bodies wait.", 2, 30s, root_pose},
      {"state.wrenches", "A wrench replaces the last one, is kept, and computes nothing by itself.", 2, 30s, wrenches},
      {"state.stored-poses", "A pose that was set stays until the next computeFwdKinematicsOnlyRoot.", 2, 30s,
       stored_poses},
      {"state.volatile-frames", "A volatile frame is stored, and read and written by no computation.", 2, 30s,
       volatile_frames},
  };
}

}  // namespace korvel::validate
