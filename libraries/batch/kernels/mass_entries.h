#pragma once

/// Which entries of the mass matrix can differ from zero, and where they stand when each is kept once: those whose two
/// coordinates move one body. Column by column, of each those above the diagonal and the one on it.

#include <array>

#include "batch/kernels/kernels.h"

namespace korvel::batch {

struct MassEntry {
  int row, column;
};

/// The place of every entry, by row and column, among those that are kept, and how many these are. Of an entry that is
/// always zero it is their number.
struct MassPlaces {
  std::array<std::array<int, coordinate_count>, coordinate_count> of_entry;
  int count;
};

constexpr MassPlaces tabulated_mass_places() noexcept {
  using Robot = metapod::models::KorvelRobot;
  constexpr auto parents = metapod::models::parents_of<Robot>();
  constexpr auto first = metapod::models::dof_indexes_of<Robot>();
  constexpr auto number = metapod::models::dof_numbers_of<Robot>();
  MassPlaces places{};
  for (std::size_t body = 0; body < parents.size(); ++body) {
    for (int column = first[body]; column < first[body] + number[body]; ++column) {
      // The coordinates of the body and of all that it hangs from.
      std::array<bool, coordinate_count> moves_body{};
      for (int b = static_cast<int>(body); b != metapod::models::no_parent; b = parents[static_cast<std::size_t>(b)]) {
        const auto above = static_cast<std::size_t>(b);
        for (int d = first[above]; d < first[above] + number[above]; ++d)
          moves_body[static_cast<std::size_t>(d)] = true;
      }
      const auto c = static_cast<std::size_t>(column);
      for (std::size_t row = 0; row <= c; ++row) {
        if (moves_body[row]) places.of_entry[row][c] = places.of_entry[c][row] = ++places.count;
      }
    }
  }
  // Numbered from 1 so far, and 0 for those that are always zero.
  for (auto& row : places.of_entry) {
    for (int& place : row) place = place == 0 ? places.count : place - 1;
  }
  return places;
}

inline constexpr int mass_entry_count = tabulated_mass_places().count;

/// The same in memory: for loops, and not for each instruction set again.
extern const MassPlaces mass_places;

/// The columns of packed matrices: where each begins, how many entries it has above the diagonal, and their rows.
struct PackedColumns {
  std::array<int, coordinate_count> first, count;
  std::array<std::array<int, coordinate_count>, coordinate_count> rows;

  int diagonal(int column) const noexcept {
    const auto c = static_cast<std::size_t>(column);
    return first[c] + count[c];
  }
};
extern const PackedColumns packed_columns;

/// By place.
extern const std::array<MassEntry, static_cast<std::size_t>(mass_entry_count)> mass_entries;

}  // namespace korvel::batch
