#pragma once

/// The ground under states. Nothing here shows a type of Eigen: by its own settings those have other layouts than by
/// the settings that the kernels are compiled with.

#include <cstddef>
#include <memory>

#include "batch/kernels/standing.h"
#include "batch/korvel/batch.h"

namespace korvel::batch {

/// What states may stand on, and with what.
class Ground;

/// For n states; throws Refusal. Copies the soles.
std::shared_ptr<const Ground> checked_ground(const korvel_batch_ground* ground, std::ptrdiff_t n);

/// It refers to the ground.
GroundTable table_of(const Ground& ground);

}  // namespace korvel::batch
