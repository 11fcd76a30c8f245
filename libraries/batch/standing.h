#pragma once

/// The ground under states. Nothing here shows a type of Eigen: by its own settings those have other layouts than by
/// the settings that the kernels are compiled with.

#include <cstddef>

#include "batch/kernels/standing.h"
#include "batch/korvel/batch.h"

namespace korvel::batch {

/// Checks the ground for n states and copies the soles; throws Refusal.
GroundTable checked_ground(const korvel_batch_ground* ground, std::ptrdiff_t n);

}  // namespace korvel::batch
