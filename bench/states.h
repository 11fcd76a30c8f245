#pragma once

#include <vector>

#include "host/trajectory.h"

namespace korvel::bench {

/// The inputs of one call of anything that is measured.
struct State : host::State {
  /// The body that partial centres of mass leave out: every one but the root in turn.
  unsigned long body;
};

using States = std::vector<State>;

enum class Root { moving, resting };

/// 256 states, the same at every call: joints and root within one radian and one metre, and rates of that size. A
/// resting root is somewhere, upright, without velocity and acceleration.
States seededStates(Root root);

}  // namespace korvel::bench
