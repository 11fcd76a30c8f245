// A controller whose robot falls, to be recorded. The robot tips over its toes within a second. The controller turns
// the ankles by the centre of pressure, which is 0 / 0 once the soles have no load. Usage: falling_host MODULE
//
// It has recorded fall.rec, which docs/incident.md examines:
//   KORVEL_RECORD_TO=DIRECTORY falling_host libkorvel_record.so

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "plugin/rigid_body_system.h"

namespace {

constexpr float period = 0.01F;  // [s]
constexpr float toes = 0.07F;    // ahead of the torso [m]
constexpr float heel = -0.05F;
constexpr float torso = 0.333F;   // above the ground [m]
constexpr float weight = 52.0F;   // [N]
constexpr float gravity = 9.81F;  // [m/s^2]
constexpr float gain = 0.5F;      // of the ankles [rad/m]
// Pitch of the torso [rad]: at first, when the heels lift off, and when the soles have no load any more.
constexpr float first_pitch = 0.02F;
constexpr float heels_lift = 0.1F;
constexpr float no_load = 1.0F;

/// The torso of a robot that turns about its toes.
QZ::Math::Transform pose_of(float pitch) {
  const float s = std::sin(pitch);
  const float c = std::cos(pitch);
  QZ::Math::Transform pose;
  pose.r00 = pose.r22 = c;
  pose.r02 = s;
  pose.r20 = -s;
  pose.tx = toes - c * toes + s * torso;
  pose.tz = s * toes + c * torso;
  return pose;
}

void fall(tesk::RigidBodySystem& robot) {
  const unsigned long feet[] = {robot.getBodyId("LAnkleRoll"), robot.getBodyId("RAnkleRoll")};
  const unsigned long ankles[] = {robot.getJointAngleId("LAnklePitch"), robot.getJointAngleId("RAnklePitch")};
  Eigen::ArrayXf angles = Eigen::ArrayXf::Zero(static_cast<Eigen::Index>(robot.getNbJointAngles()));
  for (const char* name : {"LShoulderPitch", "RShoulderPitch"}) {
    angles[static_cast<Eigen::Index>(robot.getJointAngleId(name))] = 1.4F;  // arms down
  }
  float pitch = first_pitch;
  float rate = 0;
  auto next = std::chrono::steady_clock::now();
  for (int cycle = 0; cycle < 100; ++cycle) {
    QZ::Math::Velocity6D velocity;  // in the axes of the torso
    velocity.x = rate * torso;
    velocity.z = rate * toes;
    velocity.wy = rate;
    robot.setRootPose(pose_of(pitch));
    robot.setRootVelocity(velocity);
    robot.setJointAnglesPos(angles);
    robot.computeFwdKinematics();
    const float load = weight * std::max(0.0F, 1 - pitch / no_load);
    for (const unsigned long foot : feet) {
      robot.setExternalWrench(foot, {-0.5F * load * std::sin(pitch), 0, 0.5F * load * std::cos(pitch), 0, 0, 0});
    }
    robot.computeInverseDynamics();
    robot.getJointAnglesTorque();  // for the motors
    // The centre of pressure by the loads under heel and toes.
    const float share = std::min(pitch / heels_lift, 1.0F);
    const float pressure = (heel * (load - share * load) + toes * share * load) / load;
    for (const unsigned long ankle : ankles) angles[static_cast<Eigen::Index>(ankle)] = gain * pressure;
    rate += period * gravity / torso * std::sin(pitch);
    pitch = std::min(pitch + period * rate, 1.5F);
    std::this_thread::sleep_until(next += std::chrono::milliseconds(10));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: falling_host MODULE\n"), 2;
  void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
  const auto make = reinterpret_cast<decltype(&create)>(dlsym(module, "create"));
  const auto end = reinterpret_cast<decltype(&destroy)>(dlsym(module, "destroy"));
  const std::unique_ptr<tesk::RigidBodySystem, decltype(end)> robot(make(), end);
  fall(*robot);
}
