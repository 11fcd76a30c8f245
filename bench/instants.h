#pragma once

#include <array>
#include <vector>

#include "host/motion/trajectory.h"

namespace korvel::bench {

/// The inputs of one call of anything that is measured.
struct LoadedInstant : host::Instant {
  /// The coordinates of the root and their derivatives, from which its pose and rates come.
  Eigen::Matrix<double, 6, 1> root_q, root_dq, root_ddq;
  /// On each of `feet`: force [N], then moment about the origin of the body [N m], in its frame.
  std::array<std::vector<float>, 2> wrenches;
  /// The body that partial centres of mass leave out: every one but the root in turn.
  unsigned long body;
};

using LoadedInstants = std::vector<LoadedInstant>;

/// LoadedInstants, the same at every call, few of them the first of many: joints and root within one radian and one
/// metre, rates of that size, the weight of some kilograms on each foot.
LoadedInstants seeded_instants(std::size_t count = 256);

}  // namespace korvel::bench
