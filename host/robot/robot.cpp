#include "host/robot/robot.h"

#include <fmt/format.h>

#include <cstdlib>

#include "host/robot/frames.h"
#include "host/robot/module.h"

namespace korvel::host {

namespace {

double decimal(float value) {
  // Adding zero makes a negative zero positive.
  return std::strtod(fmt::format("{}", value).c_str(), nullptr) + 0.0;
}

/// The arguments are exact in single precision.
template <typename Matrix>
auto decimals(const Matrix& numbers) {
  return numbers.unaryExpr([](double value) { return decimal(static_cast<float>(value)); }).eval();
}

}  // namespace

std::vector<std::string> body_names(const tesk::RigidBodySystem& system) {
  std::vector<std::string> names;
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) names.push_back(system.getBodyName(b));
  return names;
}

std::vector<int> limbs_of(const tesk::RigidBodySystem& system) {
  const auto parents = guarded(system, "getParentsVector", [&] { return system.getParentsVector(); });
  std::vector<int> limbs;
  for (std::size_t body = 1; body < parents.size(); ++body) {
    limbs.push_back(parents[body] == 0 ? static_cast<int>(body) : limbs[static_cast<std::size_t>(parents[body]) - 1]);
  }
  return limbs;
}

std::vector<std::string> joint_names(const tesk::RigidBodySystem& system) {
  std::vector<std::string> names;
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) names.push_back(system.getJointAngleName(j));
  return names;
}

Robot read_robot(tesk::RigidBodySystem& system) {
  system.computeFwdKinematicsExceptRoot();
  const auto parents = guarded(system, "getParentsVector", [&] { return system.getParentsVector(); });
  const auto counts = guarded(system, "getDofNumbersVector", [&] { return system.getDofNumbersVector(); });
  const auto firsts = guarded(system, "getDofIndexesVector", [&] { return system.getDofIndexesVector(); });

  Robot robot{{}, decimal(system.getMass())};
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    // The centre of mass comes in the frame in which the body's pose is stored: here, the body's own.
    system.setPose(b, QZ::Math::Transform());
    const Eigen::Vector3d com = vector(system.getComPosition(b));
    const Eigen::Isometry3d pose = isometry(system.getPoseInRoot(b));
    robot.bodies.push_back({system.getBodyName(b), b == 0 ? system.getRootName() : system.getJointAngleName(b - 1),
                            static_cast<int>(parents[b]), static_cast<int>(firsts[b]), static_cast<int>(counts[b]),
                            decimal(system.getMass(b)), decimals(com), Eigen::Affine3d(decimals(pose.matrix()))});
  }
  return robot;
}

Placement placement_in_parent(const Robot& robot, const Body& body) {
  if (body.parent < 0) return {Eigen::Quaterniond::Identity(), Eigen::Vector3d::Zero()};
  // The inverse of the matrix, not its transpose, takes out what the rotations of the ancestors lack.
  const Eigen::Affine3d& X_RP = robot.bodies[static_cast<std::size_t>(body.parent)].pose_root;
  const Eigen::Affine3d X_PB = X_RP.inverse(Eigen::Affine) * body.pose_root;
  // The rotation nearest to the matrix.
  return {Eigen::Quaterniond(X_PB.rotation()), X_PB.translation()};
}

}  // namespace korvel::host
