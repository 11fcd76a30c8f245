#pragma once

/// Which entries of the mass matrix can differ from zero, and where they stand when each is kept once: those whose two
/// coordinates move one body. Column by column, of each those above the diagonal and the one on it.

#include <array>

#include "batch/kernels/kernels.h"

namespace korvel::batch {

struct MassEntry {
  int row, column;
};

/// The body that a coordinate moves first.
constexpr int body_of(int coordinate) noexcept {
  constexpr auto indexes = metapod::models::dof_indexes_of<metapod::models::KorvelRobot>();
  int body = body_count - 1;
  while (indexes[static_cast<std::size_t>(body)] > coordinate) --body;
  return body;
}

/// Whether both coordinates move the body of the second; row is not above column in number.
constexpr bool can_differ_from_zero(int row, int column) noexcept {
  constexpr auto parents = metapod::models::parents_of<metapod::models::KorvelRobot>();
  if (row > column) return false;
  int body = body_of(column);
  while (body != metapod::models::no_parent && body != body_of(row)) body = parents[static_cast<std::size_t>(body)];
  return body != metapod::models::no_parent;
}

constexpr int count_mass_entries() noexcept {
  int count = 0;
  for (int column = 0; column < coordinate_count; ++column) {
    for (int row = 0; row <= column; ++row) count += can_differ_from_zero(row, column) ? 1 : 0;
  }
  return count;
}
inline constexpr int mass_entry_count = count_mass_entries();

/// The place of an entry among those that are kept, the count of them for all others.
constexpr auto tabulated_mass_places() noexcept {
  std::array<std::array<int, coordinate_count>, coordinate_count> places{};
  for (auto& row : places) {
    for (int& place : row) place = mass_entry_count;
  }
  int next = 0;
  for (std::size_t column = 0; column < places.size(); ++column) {
    for (std::size_t row = 0; row <= column; ++row) {
      if (!can_differ_from_zero(static_cast<int>(row), static_cast<int>(column))) continue;
      places[row][column] = places[column][row] = next++;
    }
  }
  return places;
}

/// By row and column, in memory: for loops. Where an index is known, the function above makes it a constant.
extern const std::array<std::array<int, coordinate_count>, coordinate_count> mass_places;

/// By place.
extern const std::array<MassEntry, mass_entry_count> mass_entries;

}  // namespace korvel::batch
