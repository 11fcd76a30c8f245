#pragma once

/// Which entries of the derivatives of the forces can differ from zero, and where they stand when each is kept once:
/// row by row, columns increasing. Coordinates affect the forces on bodies that they carry or that carry them. Where
/// the root is affects no force, so the derivatives by positions lack three columns.

#include "batch/kernels/mass_entries.h"

namespace korvel::batch {

/// By row and column, as MassPlaces.
struct DerivativePlaces {
  std::array<std::array<std::uint16_t, coordinate_count>, coordinate_count> of_entry;
  int count;

  const std::uint16_t* row(int row) const noexcept { return of_entry[static_cast<std::size_t>(row)].data(); }
};

template <int first_column>
constexpr DerivativePlaces tabulated_derivative_places() noexcept {
  constexpr MassPlaces mass = tabulated_mass_places();
  DerivativePlaces places{};
  // Numbered from 1 so far, and 0 for those that are always zero.
  for (std::size_t row = 0; row < places.of_entry.size(); ++row) {
    for (std::size_t column = first_column; column < places.of_entry.size(); ++column) {
      const bool is_kept = mass.of_entry[row][column] < mass.count;
      if (is_kept) places.of_entry[row][column] = static_cast<std::uint16_t>(++places.count);
    }
  }
  for (auto& row : places.of_entry) {
    for (std::uint16_t& place : row) place = static_cast<std::uint16_t>(place == 0 ? places.count : place - 1);
  }
  return places;
}

inline constexpr int position_entry_count = tabulated_derivative_places<first_angle>().count;
inline constexpr int velocity_entry_count = tabulated_derivative_places<0>().count;

/// The same in memory.
extern const DerivativePlaces position_places;
extern const DerivativePlaces velocity_places;

}  // namespace korvel::batch
