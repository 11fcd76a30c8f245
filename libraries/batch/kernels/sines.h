#pragma once

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// Sines and cosines of sine_count * lanes consecutive angles.
template <int lanes>
void take_sines(const float* angles, float* sines, float* cosines) noexcept;

}  // namespace korvel::batch
