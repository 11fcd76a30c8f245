#pragma once

#include <array>
#include <iterator>
#include <vector>

#include "metapod/models/korvel/robot.h"
#include "motion/trajectory.h"

namespace korvel::bench {

inline constexpr std::size_t joint_count = std::size(metapod::models::KorvelRobot::bodies) - 1;

/// The bodies that stand on the ground.
inline constexpr std::array<std::size_t, 2> feet{13, 19};

/// The inputs of one call of anything that is measured.
struct LoadedInstant : host::Instant {
  /// The wrench on each of `feet`: force [N], then moment about the origin of the body [N m], in its frame.
  std::array<std::vector<float>, 2> wrenches;
  /// The body that partial centres of mass leave out: every one but the root in turn.
  unsigned long body;
};

using LoadedInstants = std::vector<LoadedInstant>;

/// LoadedInstants, the same at every call, few of them the first of many: joints and root within one radian and one
/// metre, rates of that size, the weight of some kilograms on each foot.
LoadedInstants seeded_instants(std::size_t count = 256);

}  // namespace korvel::bench
