#include "host/robot/robot.h"

#include <fmt/format.h>

#include <cstdlib>

namespace korvel::host {

namespace {

double decimal(float value) {
  // Adding zero makes a negative zero positive.
  return std::strtod(fmt::format("{}", value).c_str(), nullptr) + 0.0;
}

Eigen::Affine3d decimal(const QZ::Math::Transform& pose) {
  Eigen::Affine3d result = Eigen::Affine3d::Identity();
  result.affine() << decimal(pose.r00), decimal(pose.r01), decimal(pose.r02), decimal(pose.tx),  //
      decimal(pose.r10), decimal(pose.r11), decimal(pose.r12), decimal(pose.ty),                 //
      decimal(pose.r20), decimal(pose.r21), decimal(pose.r22), decimal(pose.tz);
  return result;
}

}  // namespace

std::vector<std::string> body_names(const tesk::RigidBodySystem& system) {
  std::vector<std::string> names;
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) names.push_back(system.getBodyName(b));
  return names;
}

std::vector<std::string> joint_names(const tesk::RigidBodySystem& system) {
  std::vector<std::string> names;
  for (unsigned long j = 0; j < system.getNbJointAngles(); ++j) names.push_back(system.getJointAngleName(j));
  return names;
}

Robot read_robot(tesk::RigidBodySystem& system) {
  system.setJointAnglesPos(Eigen::ArrayXf::Zero(static_cast<Eigen::Index>(system.getNbJointAngles())));
  system.computeFwdKinematicsExceptRoot();
  const auto parents = system.getParentsVector();
  const auto counts = system.getDofNumbersVector();
  const auto firsts = system.getDofIndexesVector();

  Robot robot{{}, decimal(system.getMass())};
  for (unsigned long b = 0; b < system.getNbBodies(); ++b) {
    // The centre of mass comes in the frame in which the body's pose is stored: here, the body's own.
    system.setPose(b, QZ::Math::Transform());
    const QZ::Math::Position3D com = system.getComPosition(b);
    robot.bodies.push_back({system.getBodyName(b),
                            b == 0 ? system.getRootName() : system.getJointAngleName(b - 1),
                            static_cast<int>(parents[b]),
                            static_cast<int>(firsts[b]),
                            static_cast<int>(counts[b]),
                            decimal(system.getMass(b)),
                            {decimal(com.x), decimal(com.y), decimal(com.z)},
                            decimal(system.getPoseInRoot(b))});
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
