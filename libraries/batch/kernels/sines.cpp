// Compiled once for each instruction set, with KORVEL_LANES, and with contraction where the set has fused multiply-add:
// no bit of a sine or a cosine changes by it, which sine_sets_walk proves for every float.

#include "batch/kernels/kernels.h"
#include "metapod/spatial/sine_cosine_of_width.h"

namespace korvel::batch {

template <>
void take_sines<KORVEL_LANES>(const float* angles, float* sines, float* cosines) noexcept {
  metapod::Spatial::sine_cosine<sine_count * KORVEL_LANES, KORVEL_LANES>(angles, sines, cosines);
}

}  // namespace korvel::batch
