#pragma once

/// States on the ground. Nothing here shows a type of Eigen: by its own settings those have other layouts than by the
/// settings that the kernels are compiled with.

#include <cstddef>
#include <memory>

#include "batch/kernels/kernels.h"
#include "batch/korvel/batch.h"

namespace korvel::batch {

/// What states may stand on, and with what.
class Ground;

/// For n states; throws Refusal. Copies the soles.
std::shared_ptr<const Ground> checked_ground(const korvel_batch_ground* ground, std::ptrdiff_t n);

/// As korvel_batch_stand_results.
struct StandResults {
  Output forces, loads, pressure, zmp, zmp_margin, residual, verdict;
};

/// Over the states of a stretch.
struct StandSums {
  ForceSums forces;
  float least_margin;
  std::ptrdiff_t unbearable;
};

/// The states of a motion, argument by argument.
struct Motion {
  Input q, dq, ddq;
};

/// How the states of a stretch, which begins with a tile, stand on the ground. The wrench that a motion requires is the
/// force on the root of inverse dynamics without the ground; distributed over the soles, it goes into inverse dynamics
/// once more. Adds to `sums` unless null.
void stand(const KernelSet& kernels, const Masses& masses, const Stretch& states, const Motion& motion,
           const Ground& ground, const StandResults& results, StandSums* sums);

}  // namespace korvel::batch
