#pragma once

#include <vector>

#include "bench/stand/recording.h"

namespace korvel::bench {

struct Deviation {
  double rms = 0;
  double largest = 0;
};

/// What became of a robot that was left to a motion's torques.
struct Played {
  double drift = 0;              ///< largest distance of the root from where the motion has it [m]
  double lowest = 1;             ///< height of the root, as a share of what the motion has
  std::vector<Deviation> loads;  ///< vertical force on each foot against the recorded one, by the weight
  double feedback = 0;           ///< largest torque that the joints' feedback added [N m]
};

/// Plays a recording on the model, which has soles and a ground: the recorded torques, and at each joint a weak spring
/// and damper towards the recorded motion. The robot first stands in the first sample, at the end in the last one.
/// Loads are compared while it moves.
Played play(const mjModel& model, const Recording& recording);

/// The largest forces that are missing where MuJoCo's inverse dynamics is given the recorded wrenches.
struct Inverse {
  double root = 0;    ///< by the weight; moments by a decimetre too
  double joints = 0;  ///< from the recorded torques [N m]
};
Inverse compare_inverse(const mjModel& model, const Recording& recording);

}  // namespace korvel::bench
