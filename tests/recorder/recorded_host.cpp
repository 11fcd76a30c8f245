/// A host to be recorded: loads a module and calls it. What it does stands beside its functions.
///
///   recorded_host MODULE WHAT [NUMBER or FILE] [NUMBER]

#include "tests/recorder/recorded_host.h"

#include <unistd.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <thread>

#include "recorder/format/denormals.h"

namespace {

using korvel::host::Module;
using korvel::host::System;
using korvel::recorded::counter_in;
using korvel::recorded::cycle;
using korvel::recorded::let_the_recorder_work;

/// Every operation, on an object for each thread.
void every_operation(const Module& module, unsigned threads) {
  std::vector<System> robots;
  for (unsigned i = 0; i < threads; ++i) robots.push_back(module.create());
  std::vector<std::thread> running;
  for (unsigned i = 0; i < threads; ++i) {
    running.emplace_back([&, i] {
      std::vector<korvel::Arguments> arguments = korvel::varied_arguments(*robots[i], i + 1, 4);
      for (korvel::Arguments& with : arguments) {
        for (const korvel::RealTimeOperation& operation : korvel::real_time_operations()) {
          // An operation on what all objects share must not overlap any other call.
          if (threads == 1 || std::strcmp(operation.name, "setBodyInertia") != 0) operation.call(*robots[i], with);
        }
        let_the_recorder_work();
        tesk::RigidBodySystem::ComJacobian J;
        for (const korvel::AllocatingOperation& operation : korvel::allocating_operations()) {
          try {
            operation.call(*robots[i], J);
          } catch (const std::out_of_range&) {
          }
        }
      }
    });
  }
  for (std::thread& thread : running) thread.join();
}

/// Control cycles, for ever or `count`; how many calls have returned is in a file. Says how often it was saved.
void cycles(const Module& module, const char* counter, std::uint64_t count) {
  std::atomic<std::uint64_t>& returned = counter_in(counter);
  const System robot = module.create();
  std::vector<korvel::Arguments> arguments;
  for (unsigned seed = 0; seed < 8; ++seed) {
    arguments.emplace_back(korvel::random_state(seed, korvel::RobotSize(25)), *module.create());
  }
  for (std::uint64_t i = 0; i < count; ++i) {
    cycle(*robot, arguments[i % arguments.size()], returned);
    if (i % 64 == 0) let_the_recorder_work();
  }
  korvel::recorded::say_saves();
}

/// Records a motion; inputs that do not change are set once.
void motion(const Module& module, unsigned long steps) {
  const System robot = module.create();
  const korvel::Arguments with(korvel::random_state(1, *robot), *robot);
  robot->setRootPose(with.pose);
  robot->setJointAnglesPos(with.joints[0]);
  for (unsigned long i = 0; i < steps; ++i) {
    const unsigned long joint = i % robot->getNbJointAngles();
    robot->setJointAnglePos(joint, 0.01F * static_cast<float>(i + 1));
    robot->computeFwdKinematics();
    if (i % 2 == 1) {
      robot->setJointAngleVel(joint, 0.5F * static_cast<float>(i));
      robot->computeInverseDynamics();
    }
    usleep(1000);
  }
}

/// The joints are set once, and a wrench in each cycle.
void standing(const Module& module, unsigned long cycles) {
  const System robot = module.create();
  robot->setJointAnglesPos(Eigen::ArrayXf::Constant(24, 0.2F));
  robot->computeFwdKinematics();
  for (unsigned long i = 0; i < cycles; ++i) {
    const float force = 2.5F * static_cast<float>(i);
    robot->setExternalWrench(13, {force, force, force, force, force, force});
    robot->computeInverseDynamics();
    robot->getJointAngleTorque(12);
  }
}

/// Each of `cycles` sets the joints once and a wrench twice, before one call of the dynamics each. The root is set
/// once.
void stages(const Module& module, unsigned long cycles) {
  const System robot = module.create();
  robot->setRootPose({});
  for (unsigned long i = 0; i < cycles; ++i) {
    robot->setJointAnglesPos(Eigen::ArrayXf::Constant(24, 0.01F * static_cast<float>(i)));
    for (int k = 0; k < (i == 3 ? 5000 : 1); ++k) robot->computeFwdKinematics();
    for (const float force : {1.0F, 2.0F}) {
      robot->setExternalWrench(13, {force, 0, 0, 0, 0, 0});
      robot->computeInverseDynamics();
    }
  }
}

/// Six samples of a turned robot with a wrench on a foot and one on a hand, there given in another frame. The
/// velocities of the second sample are not numbers, the root of the fourth is infinitely far away, and the
/// accelerations of the last one are too large for its torques.
void gaps(const Module& module) {
  const System robot = module.create();
  QZ::Math::Transform quarter;  // turned about the vertical
  quarter.r00 = quarter.r11 = 0;
  quarter.r10 = 1;
  quarter.r01 = -1;
  for (int i = 0; i < 6; ++i) {
    robot->setJointAnglesPos(Eigen::ArrayXf::Constant(24, 0.1F * static_cast<float>(i)));
    const float rate = i == 1 ? -std::numeric_limits<float>::quiet_NaN() : 0.0F;
    robot->setJointAnglesVel(Eigen::ArrayXf::Constant(24, rate));
    robot->setJointAnglesAcc(Eigen::ArrayXf::Constant(24, i == 5 ? std::numeric_limits<float>::max() : 0));
    quarter.tx = i == 3 ? std::numeric_limits<float>::infinity() : 0;
    robot->setRootPose(quarter);
    robot->setExternalWrench(13, {1, 2, 3, 4, 5, 6});
    QZ::Math::Transform beside = quarter;
    beside.tx = 0.5F;
    robot->setExternalWrench(20, {1, 2, 3, 4, 5, 6}, beside);
    robot->computeFwdKinematics();
    robot->computeInverseDynamics();
    usleep(1000);
  }
}

/// Seven samples. Every other one has a number that is not finite; another setter sets it anew.
void cured(const Module& module) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const System robot = module.create();
  const auto sample = [&] {
    robot->computeInverseDynamics();
    usleep(1000);
  };
  robot->setJointAnglePos(3, nan);
  sample();
  robot->setJointAnglesPos(Eigen::ArrayXf::Zero(24));
  sample();
  robot->setExternalWrench(5, {nan, 0, 0, 0, 0, 0});
  sample();
  robot->setExternalWrench(5, {1, 0, 0, 0, 0, 0}, {});
  sample();
  robot->setJointAnglesVel(Eigen::ArrayXf::Constant(24, nan));
  sample();
  for (unsigned long j = 0; j < 24; ++j) robot->setJointAngleVel(j, 0);
  robot->setExternalWrench(5, {0, 0, 0, 0, 0, 0});
  sample();
  const auto other = robot->clone();
  other->setBodyInertia(7, 1, {nan, 0, 0}, Eigen::Matrix3f::Zero());
  sample();
}

/// Three cycles, of which the second computes for long.
void uneven(const Module& module) {
  const System robot = module.create();
  for (const int computations : {1, 2000, 1}) {
    robot->setJointAnglePos(3, 0.1F);
    for (int i = 0; i < computations; ++i) robot->computeFwdKinematics();
  }
}

/// The root alone moves, the joints are computed once.
void root_motion(const Module& module) {
  const System robot = module.create();
  robot->computeFwdKinematicsExceptRoot();
  for (unsigned seed = 0; seed < 20; ++seed) {
    robot->setRootPose(korvel::Arguments(korvel::random_state(seed, *robot), *robot).pose);
    robot->computeFwdKinematicsOnlyRoot();
    usleep(100);
  }
}

/// Each input in its turn is not a number, and all is computed and read.
void not_finite(const Module& module) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  for (const float value : {nan, -nan, std::numeric_limits<float>::infinity()}) {
    const System robot = module.create();
    std::vector<korvel::Arguments> arguments = korvel::varied_arguments(*robot, 1, 1);
    for (korvel::Arguments& with : arguments) {
      for (Eigen::ArrayXf& values : with.joints) values[5] = value;
      with.pose.tx = value;
      for (const korvel::RealTimeOperation& operation : korvel::real_time_operations()) operation.call(*robot, with);
    }
  }
}

/// Torques that are denormal numbers, of loads that are some, for each way to treat them.
void denormals(const Module& module) {
  using namespace korvel::recording;
  const System robot = module.create();
  for (const int flags : {0, int{flushes_denormals}, int{takes_denormals_as_zero},
                          int{flushes_denormals} | int{takes_denormals_as_zero}}) {
    set_denormal_flags(static_cast<std::uint16_t>(flags));
    QZ::Math::Transform far;
    far.ty = 1e3F;
    for (const float force : {1e-40F, 1.1e-38F}) {
      robot->setExternalWrench(13, {force, force, force, force, force, force}, far);
      robot->computeInverseDynamics();
      robot->getJointAnglesTorque();
    }
  }
  set_denormal_flags(0);
}

/// Makes harmless calls that the contract does not allow.
void mistakes(const Module& module) {
  const System robot = module.create();
  robot->getJointAngleTorque(3);
  QZ::Math::Velocity6D velocity;
  velocity.wx = std::numeric_limits<float>::quiet_NaN();
  robot->setRootVelocity(velocity);
  robot->computeInverseDynamics();
  robot->getJointAngleTorque(3);
  try {
    robot->getBodyId("Tail");
  } catch (const std::out_of_range&) {
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  std::setlocale(LC_ALL, "");
  const Module module(argv[1]);
  const std::string what = argv[2];
  using namespace korvel::recorded;
  const std::map<std::string, void (*)(const Module&)> without_arguments{{"mistakes", mistakes},
                                                                         {"uneven", uneven},
                                                                         {"gaps", gaps},
                                                                         {"cured", cured},
                                                                         {"denormals", denormals},
                                                                         {"root", root_motion},
                                                                         {"not finite", not_finite},
                                                                         {"daemon", as_a_daemon},
                                                                         {"scarce", when_memory_is_scarce},
                                                                         {"global", with_a_global_object},
                                                                         {"crash", in_a_call}};
  if (const auto found = without_arguments.find(what); found != without_arguments.end()) found->second(module);
  if (what == "operations") every_operation(module, static_cast<unsigned>(std::atoi(argv[3])));
  if (what == "cycles")
    cycles(module, argv[3], argc > 4 ? static_cast<std::uint64_t>(std::atoll(argv[4])) : ~std::uint64_t{0});
  if (what == "stages") stages(module, static_cast<unsigned long>(std::atol(argv[3])));
  if (what == "motion") motion(module, static_cast<unsigned long>(std::atol(argv[3])));
  if (what == "standing") standing(module, static_cast<unsigned long>(std::atol(argv[3])));
  if (what == "overlapping") overlapping(module, std::atoi(argv[3]));
  if (what == "clones") short_clones(module, static_cast<std::size_t>(std::atoi(argv[3])), std::atoi(argv[4]));
  if (what == "closing") closing_descriptors(module, argv[3]);
  if (what == "exit") calling_at_exit(module, argv[3]);
  return 0;
}
