#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <random>

#include "motion/trajectory.h"

namespace korvel::host {
namespace {

using Vector6d = Eigen::Matrix<double, 6, 1>;

/// Six coordinates as sinusoids of time about q0.
struct Curve {
  Vector6d q0, amplitude, phase;

  Vector6d q(double t) const { return q0.array() + amplitude.array() * (t + phase.array()).sin(); }
  Vector6d dq(double t) const { return amplitude.array() * (t + phase.array()).cos(); }
  Vector6d ddq(double t) const { return -amplitude.array() * (t + phase.array()).sin(); }

  Eigen::Isometry3d pose(double t) const {
    const Vector6d c = q(t);
    return Eigen::Translation3d(c.head<3>()) * Eigen::AngleAxisd(c[5], Eigen::Vector3d::UnitZ()) *
           Eigen::AngleAxisd(c[4], Eigen::Vector3d::UnitY()) * Eigen::AngleAxisd(c[3], Eigen::Vector3d::UnitX());
  }

  Moving<3> position(double t) const { return {q(t).head<3>(), dq(t).head<3>(), ddq(t).head<3>()}; }

  /// A quaternion of the orientation, of a length that changes.
  Eigen::Vector4d quaternion(double t) const {
    const Eigen::Quaterniond r(pose(t).linear());
    return (1.5 + 0.3 * std::sin(t)) * Eigen::Vector4d(r.w(), r.x(), r.y(), r.z());
  }
  Moving<4> quaternion(double t, double h) const {
    const Eigen::Vector4d now = quaternion(t);
    const auto near = [&](double at) -> Eigen::Vector4d {
      const Eigen::Vector4d p = quaternion(at);
      return p.dot(now) < 0 ? Eigen::Vector4d(-p) : p;
    };
    return {now, (near(t + h) - near(t - h)) / (2 * h), (near(t + h) - 2 * now + near(t - h)) / (h * h)};
  }

  /// Body velocity, linear part first, from T^-1 dT/dt.
  Vector6d velocity(double t, double h) const {
    const Eigen::Matrix4d dT = (pose(t + h).matrix() - pose(t - h).matrix()) / (2 * h);
    const Eigen::Matrix4d twist = pose(t).inverse().matrix() * dT;
    Vector6d v;
    v << twist(0, 3), twist(1, 3), twist(2, 3), twist(2, 1), twist(0, 2), twist(1, 0);
    return v;
  }
};

Vector6d to_vector(const QZ::Math::Velocity6D& v) {
  return Eigen::Matrix<float, 6, 1>{v.x, v.y, v.z, v.wx, v.wy, v.wz}.cast<double>();
}

// Velocity is the body twist of the pose, acceleration the derivative of its six numbers, whatever the quaternion's
// length does.
TEST(RootMotion, RatesAreTheDerivativesOfThePose) {
  constexpr double h = 1e-4;
  std::mt19937 random(11);
  std::uniform_real_distribution<double> any(-3, 3);
  for (int trial = 0; trial < 200; ++trial) {
    Curve curve;
    for (Vector6d* vector : {&curve.q0, &curve.amplitude, &curve.phase})
      *vector = vector->unaryExpr([&](double) { return any(random); });
    const double t = any(random);

    const RootMotion motion = root_motion(curve.position(t), curve.quaternion(t, 1e-4));
    const Vector6d v = curve.velocity(t, h);
    const Vector6d dv = (curve.velocity(t + h, h) - curve.velocity(t - h, h)) / (2 * h);
    // Differences: h^2 times third derivatives, which grow with the cube of the rate, and 1e-16 / h^2. Floats: 1e-7.
    const double rate = 1 + curve.dq(t).norm();
    EXPECT_LT((to_vector(motion.velocity) - v).norm(), 1e-7 * v.norm() + h * h * std::pow(rate, 3));
    EXPECT_LT((to_vector(motion.acceleration) - dv).norm(), 1e-7 * dv.norm() + h * h * std::pow(rate, 4));

    const QZ::Math::Transform& p = motion.pose;
    Eigen::Matrix<float, 3, 4> pose;
    pose << p.r00, p.r01, p.r02, p.tx, p.r10, p.r11, p.r12, p.ty, p.r20, p.r21, p.r22, p.tz;
    EXPECT_LT((pose.cast<double>() - curve.pose(t).matrix().topRows<3>()).cwiseAbs().maxCoeff(), 1e-6);
  }
}

}  // namespace
}  // namespace korvel::host
