#pragma once

#include <Eigen/Core>
#include <array>
#include <vector>

namespace korvel::bench {

/// A body as other libraries want to hear of it, in double precision. It turns about the z axis of its frame; the root
/// is free.
struct Body {
  const char* name;
  int parent;            ///< -1 for the root
  Eigen::Matrix3d R_PB;  ///< axes of the body's frame in its parent's, at a joint angle of zero
  Eigen::Vector3d p_PB;  ///< origin of the body's frame in its parent's [m]
  double mass;
  Eigen::Vector3d com_body;
};

/// The robot of the module, parents before their children.
const std::vector<Body>& robot();

/// The bodies are point masses. Libraries that insist on a rotational inertia about the centre of mass get this on its
/// diagonal [kg m^2]: of the rotational inertias about the joints, the smallest is a million times larger.
inline constexpr double tiny_inertia = 1e-12;

/// The bodies that stand on the ground.
inline constexpr std::array<std::size_t, 2> feet{13, 19};

inline constexpr double gravity = 9.81;

}  // namespace korvel::bench
