#pragma once

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <fstream>
#include <sstream>
#include <string>

#include "contract/shown.h"
#include "contract/states.h"
#include "qzmath/qzmath.h"
#include "support/module.h"

namespace korvel::tests {

/// Spacing of floats next to 1.
inline constexpr double eps = 0x1p-23;
/// Of a rotation or of a position, as a share of its length, at the end of a limb: seven products of three terms each.
/// Covers the table's four rotations that are orthonormal only to 6e-7.
inline constexpr double kinematic = 7 * 3 * eps;
/// Of an entry of the mass matrix or of a torque, as a share of what was summed up for it: out to the end of a limb and
/// back, velocities, accelerations and forces.
inline constexpr double dynamic = 4 * kinematic;

template <typename A, typename B>
testing::AssertionResult near(const Eigen::MatrixBase<A>& actual, const Eigen::MatrixBase<B>& expected,
                              double tolerance) {
  if (actual.rows() != expected.rows() || actual.cols() != expected.cols()) {
    return testing::AssertionFailure() << actual.rows() << " x " << actual.cols() << " instead of " << expected.rows()
                                       << " x " << expected.cols();
  }
  Eigen::Index r = 0;
  Eigen::Index c = 0;
  const auto error = (actual.template cast<double>() - expected.template cast<double>()).cwiseAbs().eval();
  const double largest = error.maxCoeff(&r, &c);
  if (error.allFinite() && largest <= tolerance) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "(" << r << ", " << c << "): " << actual(r, c) << " instead of "
                                     << expected(r, c) << ", tolerance " << tolerance;
}

/// Each coefficient against its own scale.
template <typename A, typename B, typename C>
testing::AssertionResult near(const Eigen::MatrixBase<A>& actual, const Eigen::MatrixBase<B>& expected,
                              double tolerance, const Eigen::MatrixBase<C>& scale) {
  return near(actual.template cast<double>().cwiseQuotient(scale), expected.cwiseQuotient(scale), tolerance);
}

inline Eigen::Vector3d eigen(const QZ::Math::Position3D& p) { return Eigen::Vector3f(p.x, p.y, p.z).cast<double>(); }

inline Eigen::Affine3d eigen(const QZ::Math::Transform& T) {
  Eigen::Affine3f pose;
  pose.matrix() << T.r00, T.r01, T.r02, T.tx, T.r10, T.r11, T.r12, T.ty, T.r20, T.r21, T.r22, T.tz, 0, 0, 0, 1;
  return pose.cast<double>();
}

inline Eigen::VectorXd eigen(const tesk::FloatRange& values) {
  return Eigen::Map<const Eigen::VectorXf>(values.first, values.last - values.first).cast<double>();
}

inline std::string text_of(const char* path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

/// A module of its own for each test, so that changed inertias do not outlive the test.
class ModuleTest : public testing::Test {
 protected:
  State random_state(std::uint64_t seed) const { return korvel::random_state(seed, *robot); }

  Module module{module_path()};
  System robot = module.create();
};

}  // namespace korvel::tests
