#pragma once

#include <vector>

#include "contact/phases.h"
#include "contact/sole.h"
#include "contact/wrench.h"
#include "plugin/rigid_body_system.h"

namespace korvel::host {

/// The ground, and the soles with which the robot stands on it.
struct Ground {
  std::vector<contact::Sole> soles;
  double height = 0;  ///< of the level ground in the world [m]
  contact::ContactBounds bounds;
};

/// The soles of the robot that korvel is built for; none if `system` is another robot, which has other bodies.
std::vector<contact::Sole> own_soles(const tesk::RigidBodySystem& system);

/// [N].
inline double weight_of(const tesk::RigidBodySystem& system) {
  return contact::gravity * static_cast<double>(system.getMass());
}

}  // namespace korvel::host
