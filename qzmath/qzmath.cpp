#include "qzmath/qzmath.h"

#include <cmath>

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

float atan2_rounded(double y, double x) noexcept { return static_cast<float>(std::atan2(y, x)); }

}  // namespace

Transform transformFromPosition6D(const Position6D& position) noexcept {
  const auto [sx, cx] = sine_cosine(position.ax);
  const auto [sy, cy] = sine_cosine(position.ay);
  const auto [sz, cz] = sine_cosine(position.az);
  Transform pose;
  pose.r00 = cy * cz;
  pose.r01 = sy * (sx * cz) - cx * sz;
  pose.r02 = sx * sz + cz * cx * sy;
  pose.r10 = cy * sz;
  pose.r11 = sx * sy * sz + cz * cx;
  pose.r12 = sy * cx * sz - sx * cz;
  pose.r20 = -sy;
  pose.r21 = sx * cy;
  pose.r22 = cx * cy;
  pose.tx = position.x;
  pose.ty = position.y;
  pose.tz = position.z;
  return pose;
}

Position6D position6DFromTransform(const Transform& pose) noexcept {
  const auto r00 = static_cast<double>(pose.r00);
  const auto r10 = static_cast<double>(pose.r10);
  const float az = atan2_rounded(r10, r00);
  const float ay = atan2_rounded(-static_cast<double>(pose.r20), std::hypot(r00, r10));
  // Rz(az)^T R = Ry(ay) Rx(ax) has the second row (0, cos ax, -sin ax). Undoing the az that was just chosen
  // keeps the rotation even where r00 and r10 vanish and az is arbitrary.
  const double sz = std::sin(static_cast<double>(az));
  const double cz = std::cos(static_cast<double>(az));
  const float ax = atan2_rounded(sz * static_cast<double>(pose.r02) - cz * static_cast<double>(pose.r12),
                                 cz * static_cast<double>(pose.r11) - sz * static_cast<double>(pose.r01));
  return {pose.tx, pose.ty, pose.tz, ax, ay, az};
}

}  // namespace QZ::Math
