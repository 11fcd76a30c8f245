#pragma once

/// States on the ground: what one instruction set computes. Plain numbers, as in kernels.h.

#include "batch/kernels/kernels.h"
#include "contact/sole_table.h"

namespace korvel::batch {

/// The ground and the soles of states.
struct GroundTable {
  double height;  ///< [m]
  contact::SoleTable soles;
  Input contact;  ///< a share for each sole; where it is NaN, or without data, it is seen whether the sole stands
};

/// Computes how the states of a stretch stand on the ground. The wrench that a motion requires is the force on the root
/// of inverse dynamics without the ground; distributed over the soles, it goes into inverse dynamics once more.
/// Allocates.
template <int lanes>
void stand(const Masses& masses, const Stretch& states, const MotionInput& given, const StandResults& wanted);

}  // namespace korvel::batch
