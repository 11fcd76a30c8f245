#pragma once

/// Host math types: poses, points and six-coordinate quantities as plain single-precision values.
///
/// This is a stand-in for the part of the host's math library that the plug-in uses. The layouts are those of
/// the host library, so values may be copied bitwise between the two. Lengths are in metres, angles in radians.
/// Nothing here allocates, locks or throws.

#include <type_traits>

namespace QZ::Math {

/// Point or vector in three dimensions.
struct Position3D {
  float x{};
  float y{};
  float z{};

  constexpr Position3D() noexcept = default;
  constexpr Position3D(float px, float py, float pz) noexcept : x(px), y(py), z(pz) {}
};

/// Homogeneous 3 x 4 pose or frame change [R | t], row by row. A point p maps to R p + t.
/// The default value is the identity.
struct Transform {
  float r00{1}, r01{}, r02{}, tx{};
  float r10{}, r11{1}, r12{}, ty{};
  float r20{}, r21{}, r22{1}, tz{};

  constexpr Transform() noexcept = default;
};

/// Position x, y, z [m] and the rotation angles ax, ay, az [rad] about x, y and z of the rotation
/// R = Rz(az) Ry(ay) Rx(ax).
struct Position6D {
  float x{}, y{}, z{};
  float ax{}, ay{}, az{};

  constexpr Position6D() noexcept = default;
  constexpr Position6D(float px, float py, float pz, float pax, float pay, float paz) noexcept
      : x(px), y(py), z(pz), ax(pax), ay(pay), az(paz) {}
};

/// Linear part x, y, z, then angular part about x, y, z. Used for velocities [m/s, rad/s] and accelerations
/// [m/s^2, rad/s^2].
struct Velocity6D {
  float x{}, y{}, z{};
  float wx{}, wy{}, wz{};

  constexpr Velocity6D() noexcept = default;
  constexpr Velocity6D(float vx, float vy, float vz, float vwx, float vwy, float vwz) noexcept
      : x(vx), y(vy), z(vz), wx(vwx), wy(vwy), wz(vwz) {}
};

// The binary boundary passes these types by value and by address: their layout is part of the contract.
static_assert(std::is_trivially_copyable_v<Position3D> && std::is_standard_layout_v<Position3D> &&
              sizeof(Position3D) == 3 * sizeof(float));
static_assert(std::is_trivially_copyable_v<Transform> && std::is_standard_layout_v<Transform> &&
              sizeof(Transform) == 12 * sizeof(float));
static_assert(std::is_trivially_copyable_v<Position6D> && std::is_standard_layout_v<Position6D> &&
              sizeof(Position6D) == 6 * sizeof(float));
static_assert(std::is_trivially_copyable_v<Velocity6D> && std::is_standard_layout_v<Velocity6D> &&
              sizeof(Velocity6D) == 6 * sizeof(float));

/// R p + t, each component summed from left to right.
constexpr Position3D operator*(const Transform& pose, const Position3D& p) noexcept {
  return {pose.r00 * p.x + pose.r01 * p.y + pose.r02 * p.z + pose.tx,
          pose.r10 * p.x + pose.r11 * p.y + pose.r12 * p.z + pose.ty,
          pose.r20 * p.x + pose.r21 * p.y + pose.r22 * p.z + pose.tz};
}

/// Pose [Rz(az) Ry(ay) Rx(ax) | (x, y, z)].
Transform transformFromPosition6D(const Position6D& position) noexcept;

/// The same, where sines and cosines of the three angles are known.
constexpr Transform transformFromPosition6D(const Position6D& position, const Position3D& sines,
                                            const Position3D& cosines) noexcept {
  const auto& [sx, sy, sz] = sines;
  const auto& [cx, cy, cz] = cosines;
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

/// Translation and angles of a pose, the inverse of transformFromPosition6D.
///
/// Works for every rotation, those with ay = +-pi/2 included, where ax and az turn about the same axis and any
/// split between the two gives the rotation back. A rotation that is not quite orthonormal gives the angles of
/// one nearby.
Position6D position6DFromTransform(const Transform& pose) noexcept;

}  // namespace QZ::Math
