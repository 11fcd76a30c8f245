#pragma once

/// The values of the spatial algebra as the 6-vectors and 6 x 6 matrices that they stand for, in double precision, and
/// random ones.

#include "metapod/spatial/joint.h"
#include "metapod/spatial/sine_cosine.h"
#include "support/expect.h"
#include "support/state.h"

namespace korvel::tests {

using Vector6 = Eigen::Matrix<double, 6, 1>;
using Matrix6 = Eigen::Matrix<double, 6, 6>;
namespace Spatial = metapod::Spatial;

/// For a few products and sums of numbers of the order of 1.
inline constexpr double algebraic = 16 * eps;

template <typename X, typename Y, typename Z>
Eigen::Vector3d eigen(const Spatial::VectorOf<X, Y, Z>& v) {
  const auto [x, y, z] = Spatial::filled<float>(v);
  return Eigen::Vector3f(x, y, z).cast<double>();
}
inline Eigen::Matrix3d skew(const Eigen::Vector3d& v) {
  return (Eigen::Matrix3d() << 0, -v.z(), v.y(), v.z(), 0, -v.x(), -v.y(), v.x(), 0).finished();
}
template <typename MotionOrForce>
Vector6 vector(const MotionOrForce& a) {
  return (Vector6() << eigen(a.angular()), eigen(a.linear())).finished();
}
template <typename Rotation>
Eigen::Matrix3d rotation(const Rotation& R) {
  return (Eigen::Matrix3d() << eigen(R * Spatial::Vector3{1, 0, 0}), eigen(R * Spatial::Vector3{0, 1, 0}),
          eigen(R * Spatial::Vector3{0, 0, 1}))
      .finished();
}
/// On motions, from A to B.
template <typename R, typename Translation>
Matrix6 matrix(const Spatial::TransformT<R, Translation>& X) {
  const Eigen::Matrix3d E = rotation(X.E);
  return (Matrix6() << E, Eigen::Matrix3d::Zero(), -E * skew(eigen(X.r)), E).finished();
}
inline Matrix6 matrix(const Spatial::Inertia& inertia) {
  const auto& [m, h, I] = inertia;
  Eigen::Matrix3f full;
  full << I.xx, I.yx, I.zx, I.yx, I.yy, I.zy, I.zx, I.zy, I.zz;
  const Eigen::Matrix3d hx = skew(eigen(h));
  return (Matrix6() << full.cast<double>(), hx, -hx, m * Eigen::Matrix3d::Identity()).finished();
}

/// Coordinates of a joint with the sines and cosines of all of them.
template <std::size_t dof>
auto positions(const std::array<float, dof>& q) {
  metapod::JointPositionsT<std::array<float, dof>> result{q, {}, {}};
  for (std::size_t k = 0; k < dof; ++k) {
    const auto [sine, cosine] = Spatial::sine_cosine_of_runtime(q[k]);
    result.sine[k] = sine;
    result.cosine[k] = cosine;
  }
  return result;
}

/// Components of the order of 1.
struct RandomSpatial : Random {
  using Random::Random;
  Spatial::Vector3 vector3() { return {unit(), unit(), unit()}; }
  Spatial::Inertia inertia() { return {unit(), vector3(), {unit(), unit(), unit(), unit(), unit(), unit()}}; }
  template <typename R>
  Spatial::TransformT<R> transform() {
    Spatial::TransformT<R> X{{}, vector3()};
    if constexpr (std::is_same_v<R, Spatial::RotationMatrix>) {
      metapod::FreeFlyerBodyJoint joint;
      joint.jcalcPos(positions<6>({0, 0, 0, (*this)(3), (*this)(3), (*this)(3)}));
      X.E = joint.Xj.E;
    } else if constexpr (std::is_same_v<R, Spatial::RotationMatrixAboutZ>) {
      const auto [s, c] = Spatial::sine_cosine_of_runtime((*this)(3));
      X.E = {c, s};
    }
    return X;
  }
};

}  // namespace korvel::tests
