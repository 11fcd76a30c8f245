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

/// The outputs of korvel_batch_stand_results.
struct StandResults {
  Output forces, loads, pressure, zmp, zmp_margin, residual, verdict;
};

/// Computes how the states of a stretch stand on the ground. The wrench that a motion requires is the force on the root
/// of inverse dynamics without the ground; distributed over the soles, it goes into inverse dynamics once more. Writes
/// `sums` of the stretch unless null. Allocates.
template <int lanes>
void stand(const Masses& masses, const Stretch& states, const MotionInput& motion, const GroundTable& ground,
           const StandResults& results, korvel_batch_stand_sums* sums);

}  // namespace korvel::batch
