#pragma once

#include "batch/kernels/entries.h"
#include "batch/kernels/states_in_lanes.h"
#include "metapod/algos/crba.h"

namespace korvel::batch {

/// The mass matrix with each entry that can differ from zero once, and a zero behind them for all others.
template <int n>
struct PackedMass {
  template <typename J, typename I, typename Columns>
  void scatter(const Columns& block) noexcept {
    metapod::Spatial::unrolled<I::Joint::dof>([&](auto c) {
      metapod::Spatial::unrolled<J::Joint::dof>([&](auto r) {
        constexpr int row = J::dof_index + static_cast<int>(decltype(r)::value);
        constexpr int column = I::dof_index + static_cast<int>(decltype(c)::value);
        // The entries below the diagonal are the same.
        if constexpr (row <= column) values[places.row(row)[column]] = block[c][r];
      });
    });
  }

  static constexpr EntryPlaces places = tabulated_places<true>();
  PackOf<n> values[mass_entry_count + 1];
};

template <int n>
[[gnu::flatten]] void run_crba(const Masses& masses, const PackOf<n>* q, const SinesOf<n>& angles,
                               PackedMass<n>& packed) noexcept {
  StatesInLanes<n> model(masses);
  metapod::crba<StatesInLanes<n>, metapod::with_jcalc>::run(model, q, angles, packed);
}

template <int n>
void compute_mass(const Masses& masses, const PackOf<n>* q, const SinesOf<n>& angles, PackedMass<n>& packed) noexcept {
  run_crba<n>(masses, q, angles, packed);
  if (masses.armature == nullptr) return;
  for (int k = first_joint; k < coordinate_count; ++k) {
    PackOf<n>& diagonal = packed.values[mass_places.row(k)[k]];
    diagonal = diagonal + PackOf<n>(masses.armature[k - first_joint]);
  }
}

template <int n>
void mass(const Masses& masses, const Stretch& states, const MotionInput& given, const MassResults& wanted) noexcept {
  PackedMass<n> entries;
  PackOf<n> positions[coordinate_count];
  SinesOf<n> angles;
  entries.values[mass_entry_count] = PackOf<n>{};
  for_each_block<n>(states, [&](const auto& block) {
    read_numbers<n, coordinate_count>(given.q, block, positions);
    angles.take(positions);
    compute_mass<n>(masses, positions, angles, entries);
    write_entries<n>(wanted.packed, wanted.dense, block, entries.values, mass_places);
  });
}

}  // namespace korvel::batch
