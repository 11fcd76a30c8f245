#pragma once

#include "batch/kernels/dynamics.h"
#include "metapod/algos/rnea_derivatives.h"
#include "metapod/algos/rnea_gradient.h"

namespace korvel::batch {

/// Writes from column 3 on, where the entries of a row have the same order in both matrices.
template <int n>
struct RowOfEntries {
  PackOf<n>& position(int column) const noexcept { return positions[places[column]]; }
  PackOf<n>& velocity(int column) const noexcept { return velocities[places[column]]; }

  PackOf<n>* positions;
  PackOf<n>* velocities;
  const std::uint16_t* places;
};

/// Derivatives with each entry that can differ from zero once, and a zero behind them for all others.
template <int n>
struct PackedDerivatives {
  PackOf<n>& force(int row) noexcept { return forces[row]; }
  /// Up to its end, a row of velocities has three columns more than that of positions.
  RowOfEntries<n> row(int row) noexcept { return {position, velocity + 3 * (row + 1), position_places.row(row)}; }

  PackOf<n> forces[coordinate_count];
  PackOf<n> position[position_entry_count + 1];
  PackOf<n> velocity[velocity_entry_count + 1];
};

template <int n>
[[gnu::flatten]] void compute_derivatives(const Masses& masses, const MotionInLanes<n>& motion,
                                          PackedDerivatives<n>& results) noexcept {
  metapod::rnea_derivatives<StatesInLanes<n>, PackedDerivatives<n>>::run(StatesInLanes<n>(masses), motion, results);
}

template <int n>
void derivatives(const Masses& masses, const Stretch& states, const MotionInput& given,
                 const DerivativeResults& wanted) noexcept {
  PackedDerivatives<n> results;
  results.position[position_entry_count] = results.velocity[velocity_entry_count] = PackOf<n>{};
  for_each_motion<n>(states, given, [&](const auto& block, const auto& motion) {
    compute_derivatives<n>(masses, motion, results);
    write_numbers<n>(wanted.forces, block, 0, coordinate_count, results.forces);
    write_entries<n>(wanted.position_packed, wanted.position, block, results.position, position_places);
    write_entries<n>(wanted.velocity_packed, wanted.velocity, block, results.velocity, velocity_places);
  });
}

template <int n>
[[gnu::flatten]] void compute_gradient(const Masses& masses, const MotionInLanes<n>& motion, const PackOf<n>* weights,
                                       const typename metapod::rnea_gradient<StatesInLanes<n>>::Results& to) noexcept {
  metapod::rnea_gradient<StatesInLanes<n>>::run(StatesInLanes<n>(masses), motion, weights, to);
}

template <int n>
void gradient(const Masses& masses, const Stretch& states, const MotionInput& given,
              const GradientResults& wanted) noexcept {
  PackOf<n> weights[coordinate_count];
  PackOf<n> results[4][coordinate_count];
  const Output outputs[]{wanted.forces, wanted.by_position, wanted.by_velocity, wanted.by_acceleration};
  for_each_motion<n>(states, given, [&](const auto& block, const auto& motion) {
    read_numbers<n, coordinate_count>(given.of_forces, block, weights);
    compute_gradient<n>(masses, motion, weights, {results[0], results[1], results[2], results[3]});
    for (int k = 0; k < 4; ++k) write_numbers<n>(outputs[k], block, 0, coordinate_count, results[k]);
  });
}

}  // namespace korvel::batch
