#include "qzmath/qzmath.h"

#include <cmath>

#include "qzmath/arctangent.h"

namespace QZ::Math {

namespace {

struct SineCosine {
  float sine;
  float cosine;
};

SineCosine sine_cosine(float angle) noexcept {
  const auto a = static_cast<double>(angle);
  return {static_cast<float>(std::sin(a)), static_cast<float>(std::cos(a))};
}

}  // namespace

Transform transformFromPosition6D(const Position6D& position) noexcept {
  const auto [sx, cx] = sine_cosine(position.ax);
  const auto [sy, cy] = sine_cosine(position.ay);
  const auto [sz, cz] = sine_cosine(position.az);
  return transformFromPosition6D(position, {sx, sy, sz}, {cx, cy, cz});
}

Position6D position6DFromTransform(const Transform& pose) noexcept {
  const auto r00 = static_cast<double>(pose.r00), r01 = static_cast<double>(pose.r01);
  const auto r02 = static_cast<double>(pose.r02), r10 = static_cast<double>(pose.r10);
  const auto r11 = static_cast<double>(pose.r11), r12 = static_cast<double>(pose.r12);
  const auto r20 = static_cast<double>(pose.r20);

  // Rz(az)^T R = Ry(ay) Rx(ax) has the second row (0, cos ax, -sin ax): here with az as it is before it is rounded,
  // (c, s) along (cos az, sin az). Where r00 and r10 vanish az is 0 or pi, and keeps the rotation.
  const double square = r00 * r00 + r10 * r10;
  const double c = square > 0 ? r00 : std::copysign(1.0, r00);
  const double s = r10;
  const double sine = s * r02 - c * r12;
  const double cosine = c * r11 - s * r01;
  const internal::Doubles y[]{{r10, -r20}, {sine, 0}};
  const double along = std::sqrt(square);
  const internal::Doubles x[]{{r00, along}, {cosine, 1}};
  internal::Doubles angles[internal::pairs];
  internal::angles_of_points(y, x, angles);

  const auto az = static_cast<float>(angles[0][0]);
  const auto ay = static_cast<float>(angles[0][1]);
  // ax corrects the effect of rounding az: its derivative by az.
  const double rounding = static_cast<double>(az) - angles[0][0];
  const double size = sine * sine + cosine * cosine;
  const double slope = (cosine * (c * r02 + s * r12) + sine * (s * r11 + c * r01)) / (size > 0 ? size : 1);
  const auto ax = static_cast<float>(angles[1][0] + slope * rounding);
  return {pose.tx, pose.ty, pose.tz, ax, ay, az};
}

}  // namespace QZ::Math
