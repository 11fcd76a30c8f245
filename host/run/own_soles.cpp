#include <algorithm>
#include <string>

#include "host/robot/robot.h"
#include "host/run/ground.h"
#include "metapod/models/korvel/robot.h"

namespace korvel::host {

std::vector<contact::Sole> own_soles(const tesk::RigidBodySystem& system) {
  constexpr unsigned long left_foot = 13;
  constexpr unsigned long right_foot = 19;
  constexpr double friction = 0.6;
  constexpr double below_ankle = -0.045, half_width = 0.04, toe = 0.1, heel = -0.05;  // [m], in the foot's axes
  const auto& bodies = metapod::models::KorvelRobot::bodies;
  const std::vector<std::string> names = body_names(system);
  const auto has_name = [](const std::string& name, const auto& body) { return name == body.name; };
  if (!std::equal(names.begin(), names.end(), std::begin(bodies), std::end(bodies), has_name)) return {};
  const std::vector<Eigen::Vector3d> corners{{below_ankle, half_width, toe},
                                             {below_ankle, -half_width, toe},
                                             {below_ankle, -half_width, heel},
                                             {below_ankle, half_width, heel}};
  return {{left_foot, corners, friction}, {right_foot, corners, friction}};
}

}  // namespace korvel::host
