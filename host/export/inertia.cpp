#include "host/export/inertia.h"

#include <Eigen/Eigenvalues>
#include <algorithm>

namespace korvel::host {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

Matrix3d inertia_of_point(double mass, const Vector3d& p) {
  return mass * (p.squaredNorm() * Matrix3d::Identity() - p * p.transpose());
}

/// Inertia of the body about its centre of mass, in its own frame.
Matrix3d recover(tesk::RigidBodySystem& fresh, const Robot& robot, std::size_t index) {
  for (std::size_t b = 0; b < robot.bodies.size(); ++b) {
    if (b != index) fresh.setBodyInertia(b, 0, {}, Eigen::Matrix3f::Zero());
  }
  fresh.computeFwdKinematicsExceptRoot();
  fresh.computeGeneralizedMass();
  // The root's rotations: the body about the root's origin, in root axes.
  const Matrix3d about_root = fresh.getGeneralizedMass().block<3, 3>(3, 3).cast<double>();
  const Body& body = robot.bodies[index];
  const Matrix3d own_root = about_root - inertia_of_point(body.mass, body.pose_root * body.com_body);
  const Matrix3d R_RB = body.pose_root.linear();
  return R_RB.transpose() * own_root * R_RB;
}

/// Bounds the inertia that rounding leaves of a point mass: numbers are single, and some rotations have six digits.
double rounding(const Body& body) {
  constexpr double of_its_inertia = 4e-6;
  return std::max(of_its_inertia * body.mass * (body.pose_root * body.com_body).squaredNorm(), least_inertia);
}

/// The nearest inertia that a body can have. Its second moments of mass, which give the inertias, are positive.
Matrix3d possible(const Matrix3d& inertia) {
  const Matrix3d moments = inertia.trace() / 2 * Matrix3d::Identity() - inertia;
  const Eigen::SelfAdjointEigenSolver<Matrix3d> principal(moments);
  const Matrix3d positive = principal.eigenvectors() * principal.eigenvalues().cwiseMax(least_inertia).asDiagonal() *
                            principal.eigenvectors().transpose();
  return positive.trace() * Matrix3d::Identity() - positive;
}

}  // namespace

std::size_t Inertias::points() const {
  return static_cast<std::size_t>(std::count(is_point.begin(), is_point.end(), true));
}

Inertias recover_inertias(const FreshSystem& fresh, const Robot& robot) {
  Inertias result{{}, {}, 0};
  for (std::size_t b = 0; b < robot.bodies.size(); ++b) {
    const Matrix3d recovered = recover(*fresh(), robot, b);
    const double largest = recovered.cwiseAbs().maxCoeff();
    const bool is_point = largest <= rounding(robot.bodies[b]);
    result.of_body.push_back(is_point ? Matrix3d(least_inertia * Matrix3d::Identity()) : possible(recovered));
    result.is_point.push_back(is_point);
    if (is_point) result.largest_of_points = std::max(result.largest_of_points, largest);
  }
  return result;
}

}  // namespace korvel::host
