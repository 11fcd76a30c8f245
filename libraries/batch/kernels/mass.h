#pragma once

#include "batch/kernels/mass_entries.h"
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
        constexpr int place = place_of<J::dof_index + static_cast<int>(decltype(r)::value),
                                       I::dof_index + static_cast<int>(decltype(c)::value)>;
        if constexpr (place < mass_entry_count) values[place] = block[c][r];
      });
    });
  }

  PackOf<n> values[mass_entry_count + 1];

 private:
  /// Of an entry above the diagonal or on it; of those below nothing is kept.
  static constexpr MassPlaces places = tabulated_mass_places();
  template <int row, int column>
  static constexpr int place_of = row <= column ? places.of_entry[row][column] : mass_entry_count;
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
    PackOf<n>& diagonal = packed.values[packed_columns.diagonal(k)];
    diagonal = diagonal + PackOf<n>(masses.armature[k - first_joint]);
  }
}

template <int n>
void mass(const Masses& masses, const Stretch& states, const Input& q, const Output& packed,
          const Output& dense) noexcept {
  PackedMass<n> entries;
  PackOf<n> positions[coordinate_count];
  SinesOf<n> angles;
  entries.values[mass_entry_count] = PackOf<n>{};
  for_each_block<n>(states, [&](const auto& block) {
    read_numbers<n, coordinate_count>(q, block, positions);
    angles.take(positions);
    compute_mass<n>(masses, positions, angles, entries);
    if (packed.data != nullptr) write_numbers<n>(packed, block, 0, mass_entry_count, entries.values);
    if (dense.data != nullptr) {
      write_numbers_at<n>(dense, block, coordinate_count * coordinate_count, entries.values,
                          mass_places.of_entry[0].data());
    }
  });
}

}  // namespace korvel::batch
