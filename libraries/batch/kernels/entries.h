#pragma once

/// Lists the entries of matrices over coordinates that can differ from zero, and their places when each is kept once.
/// Two coordinates have an entry if one of them moves the body that the other one moves.

#include <array>

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// The place of every entry, by row and column, among those that are kept, and how many these are. Of an entry that is
/// always zero it is their number.
struct EntryPlaces {
  std::array<std::array<std::uint16_t, coordinate_count>, coordinate_count> of_entry;
  int count;

  const std::uint16_t* row(int row) const noexcept { return of_entry[static_cast<std::size_t>(row)].data(); }
};

constexpr auto tabulated_relations() noexcept {
  using Robot = metapod::models::KorvelRobot;
  constexpr auto parents = metapod::models::parents_of<Robot>();
  constexpr auto first = metapod::models::dof_indexes_of<Robot>();
  constexpr auto number = metapod::models::dof_numbers_of<Robot>();
  std::array<std::array<bool, coordinate_count>, coordinate_count> related{};
  for (std::size_t body = 0; body < parents.size(); ++body) {
    for (int above = static_cast<int>(body); above != metapod::models::no_parent;) {
      const auto b = static_cast<std::size_t>(above);
      for (int row = first[body]; row < first[body] + number[body]; ++row) {
        for (int column = first[b]; column < first[b] + number[b]; ++column) {
          related[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)] = true;
          related[static_cast<std::size_t>(column)][static_cast<std::size_t>(row)] = true;
        }
      }
      above = parents[b];
    }
  }
  return related;
}

/// Numbers entries row by row from a column on. A symmetric matrix has those up to the diagonal, which stand for those
/// beyond it too.
template <bool is_symmetric, int first_column = 0>
constexpr EntryPlaces tabulated_places() noexcept {
  constexpr auto related = tabulated_relations();
  EntryPlaces places{};
  // Numbered from 1 so far, and 0 for those that are always zero.
  for (std::size_t row = 0; row < related.size(); ++row) {
    for (std::size_t column = first_column; column < (is_symmetric ? row + 1 : related.size()); ++column) {
      if (!related[row][column]) continue;
      places.of_entry[row][column] = static_cast<std::uint16_t>(++places.count);
      if (is_symmetric) places.of_entry[column][row] = places.of_entry[row][column];
    }
  }
  for (auto& row : places.of_entry) {
    for (std::uint16_t& place : row) place = static_cast<std::uint16_t>(place == 0 ? places.count : place - 1);
  }
  return places;
}

inline constexpr int mass_entry_count = tabulated_places<true>().count;
inline constexpr int position_entry_count = tabulated_places<false, first_angle>().count;
inline constexpr int velocity_entry_count = tabulated_places<false>().count;

/// The same in memory: for loops, and not for each instruction set again. Where the root is affects no force, so the
/// derivatives by positions lack three columns.
extern const EntryPlaces mass_places;
extern const EntryPlaces position_places;
extern const EntryPlaces velocity_places;

/// The columns of packed mass matrices: where each begins, the last of them with its end, and the row of each entry.
/// The last entry of a column is the diagonal one.
struct PackedColumns {
  std::array<int, coordinate_count + 1> first;
  std::array<int, std::size_t{mass_entry_count}> row;
};
extern const PackedColumns packed_columns;

}  // namespace korvel::batch
