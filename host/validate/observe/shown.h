#pragma once

#include <string>
#include <vector>

#include "states/states.h"

namespace korvel::validate {

/// A part of what an object shows, in pieces of equal length.
struct Part {
  const char* piece;
  std::ptrdiff_t first, last, length;
};

namespace Parts {
inline constexpr Part poses{"world pose", Shown::poses, Shown::poses_in_root, 12},
    poses_in_root{"pose in the root", Shown::poses_in_root, Shown::volatile_pose, 12},
    volatile_pose{"volatile pose", Shown::volatile_pose, Shown::com, 12},
    com{"centre of mass", Shown::com, Shown::com_in_root, 3},
    com_in_root{"centre of mass in the root", Shown::com_in_root, Shown::jacobian, 3},
    jacobian{"jacobian column", Shown::jacobian, Shown::mass_matrix, 6},
    mass_matrix{"mass matrix column", Shown::mass_matrix, Shown::torques, 30},
    torques{"torque", Shown::torques, Shown::inputs, 1},
    root_velocity{"root velocity", Shown::inputs, Shown::inputs + 6, 6},
    root_acceleration{"root acceleration", Shown::inputs + 6, Shown::joints, 6},
    positions{"joint position", Shown::joints, Shown::joints + 24, 1},
    velocities{"joint velocity", Shown::joints + 24, Shown::joints + 48, 1},
    accelerations{"joint acceleration", Shown::joints + 48, Shown::end, 1};

inline constexpr Part all[] = {poses,     poses_in_root, volatile_pose, com,           com_in_root,
                               jacobian,  mass_matrix,   torques,       root_velocity, root_acceleration,
                               positions, velocities,    accelerations};
}  // namespace Parts

/// Equal to the last bit.
bool same(float a, float b);
bool same(const QZ::Math::Transform& a, const QZ::Math::Transform& b);
bool same(const QZ::Math::Position3D& a, const QZ::Math::Position3D& b);

/// Throws Finding with the first number that differs in a bit, some parts apart. The words say what came before.
void require_same(const std::vector<float>& seen, const std::vector<float>& expected, const std::string& after,
                  const std::vector<Part>& apart = {});

}  // namespace korvel::validate
