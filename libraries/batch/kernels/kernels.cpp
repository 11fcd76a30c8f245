// Compiled once for each instruction set, with KORVEL_LANES.

#include "batch/kernels/kernels.h"

#include "batch/kernels/derivatives.h"
#include "batch/kernels/forward.h"
#include "batch/kernels/kinematics.h"
#include "batch/kernels/mass.h"
#include "batch/kernels/momentum.h"
#include "batch/kernels/standing.h"

namespace korvel::batch {

template <>
const KernelSet& kernel_set<KORVEL_LANES>() noexcept {
  constexpr int n = KORVEL_LANES;
  static constexpr KernelSet set{n,           kinematics<n>,       mass<n>,     dynamics<n>, derivatives<n>,
                                 gradient<n>, forward_dynamics<n>, momentum<n>, points<n>,   stand<n>};
  return set;
}

}  // namespace korvel::batch
