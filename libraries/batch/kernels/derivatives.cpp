// Compiled once for each instruction set, with KORVEL_LANES.

#include "batch/kernels/derivatives.h"

#include "batch/kernels/derivative_entries.h"
#include "batch/kernels/dynamics.h"
#include "metapod/algos/rnea_derivatives.h"

namespace korvel::batch {

template <int n>
struct RowOfEntries {
  PackOf<n>& operator[](int column) const noexcept { return entries[places[column]]; }

  PackOf<n>* entries;
  const std::uint16_t* places;
};

/// Derivatives with each entry that can differ from zero once, and a zero behind them for all others.
template <int n>
struct PackedDerivatives {
  PackOf<n>& force(int row) noexcept { return forces[row]; }
  auto position_row(int row) noexcept { return RowOfEntries<n>{position, position_places.row(row)}; }
  auto velocity_row(int row) noexcept { return RowOfEntries<n>{velocity, velocity_places.row(row)}; }

  PackOf<n> forces[coordinate_count];
  PackOf<n> position[position_entry_count + 1];
  PackOf<n> velocity[velocity_entry_count + 1];
};

template <int n>
[[gnu::flatten]] void compute_derivatives(const Masses& masses, const MotionInLanes<n>& motion,
                                          PackedDerivatives<n>& results) noexcept {
  const StatesInLanes<n> model(masses);
  metapod::rnea_derivatives<StatesInLanes<n>, PackedDerivatives<n>>::run(model, motion.q, motion.angles, motion.dq,
                                                                         motion.ddq, motion.external, results);
}

template <int n>
void write_derivatives(const Block<n>& block, const Output& packed, const Output& dense, int count,
                       const PackOf<n>* entries, const DerivativePlaces& places) noexcept {
  if (packed.data != nullptr) write_numbers<n>(packed, block, 0, count, entries);
  if (dense.data != nullptr) {
    write_numbers_at<n>(dense, block, coordinate_count * coordinate_count, entries, places.of_entry[0].data());
  }
}

template <>
void derivatives<KORVEL_LANES>(const Masses& masses, const Stretch& states, const Input& q, const Input& dq,
                               const Input& ddq, const Wrenches& wrenches, const DerivativeResults& wanted) noexcept {
  constexpr int n = KORVEL_LANES;
  MotionInLanes<n> motion(wrenches);
  PackedDerivatives<n> results;
  results.position[position_entry_count] = results.velocity[velocity_entry_count] = PackOf<n>{};
  for_each_block<n>(states, [&](const auto& block) {
    motion.take(block, q, dq, ddq);
    compute_derivatives<n>(masses, motion, results);
    if (wanted.forces.data != nullptr) write_numbers<n>(wanted.forces, block, 0, coordinate_count, results.forces);
    write_derivatives<n>(block, wanted.position_packed, wanted.position, position_entry_count, results.position,
                         position_places);
    write_derivatives<n>(block, wanted.velocity_packed, wanted.velocity, velocity_entry_count, results.velocity,
                         velocity_places);
  });
}

}  // namespace korvel::batch
