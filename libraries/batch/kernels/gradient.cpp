// Compiled once for each instruction set, with KORVEL_LANES.

#include "batch/kernels/derivatives.h"
#include "batch/kernels/dynamics.h"
#include "metapod/algos/rnea_gradient.h"

namespace korvel::batch {

template <int n>
[[gnu::flatten]] void compute_gradient(const Masses& masses, const MotionInLanes<n>& motion, const PackOf<n>* weights,
                                       const typename metapod::rnea_gradient<StatesInLanes<n>>::Results& to) noexcept {
  metapod::rnea_gradient<StatesInLanes<n>>::run(StatesInLanes<n>(masses), motion, weights, to);
}

template <>
void gradient<KORVEL_LANES>(const Masses& masses, const Stretch& states, const MotionInput& given,
                            const GradientResults& wanted) noexcept {
  constexpr int n = KORVEL_LANES;
  MotionInLanes<n> motion(given.wrenches);
  PackOf<n> weights[coordinate_count];
  PackOf<n> results[4][coordinate_count];
  const Output outputs[]{wanted.forces, wanted.by_position, wanted.by_velocity, wanted.by_acceleration};
  for_each_block<n>(states, [&](const auto& block) {
    motion.take(block, given);
    read_numbers<n, coordinate_count>(given.of_forces, block, weights);
    compute_gradient<n>(masses, motion, weights, {results[0], results[1], results[2], results[3]});
    for (int k = 0; k < 4; ++k) write_numbers<n>(outputs[k], block, 0, coordinate_count, results[k]);
  });
}

}  // namespace korvel::batch
