#include <string>

#include "host/robot/robot.h"
#include "host/run/ground.h"

namespace korvel::host {

std::vector<contact::Sole> own_soles(const tesk::RigidBodySystem& system) {
  constexpr unsigned long left_foot = 13;
  constexpr unsigned long right_foot = 19;
  constexpr double friction = 0.6;
  constexpr double below_ankle = -0.045, half_width = 0.04, toe = 0.1, heel = -0.05;  // [m], in the foot's axes
  const std::vector<std::string> limbs[] = {
      {"Torso", "HeadYaw", "HeadPitch"},
      {"LShoulderPitch", "LShoulderRoll", "LElbowYaw", "LElbowRoll", "LWristYaw"},
      {"LHipYawPitch", "LHipRoll", "LHipPitch", "LKneePitch", "LAnklePitch", "LAnkleRoll"},
      {"RHipYawPitch", "RHipRoll", "RHipPitch", "RKneePitch", "RAnklePitch", "RAnkleRoll"},
      {"RShoulderPitch", "RShoulderRoll", "RElbowYaw", "RElbowRoll", "RWristYaw"}};
  std::vector<std::string> bodies;
  for (const std::vector<std::string>& limb : limbs) bodies.insert(bodies.end(), limb.begin(), limb.end());
  if (body_names(system) != bodies) return {};
  const std::vector<Eigen::Vector3d> corners{{below_ankle, half_width, toe},
                                             {below_ankle, -half_width, toe},
                                             {below_ankle, -half_width, heel},
                                             {below_ankle, half_width, heel}};
  return {{left_foot, corners, friction}, {right_foot, corners, friction}};
}

}  // namespace korvel::host
