#pragma once

/// Lists the entries of matrices over coordinates that can differ from zero, and their places when each is kept once.
/// Two coordinates have an entry if one of them moves the body that the other one moves.

#include "batch/kernels/kernels.h"

namespace korvel::batch {

struct Entry {
  int row, column;
};

/// Lists the place of every entry, row by row, among those that are kept, and the kept ones in the order of their
/// places. The place of an entry that is always zero is the number of those that are kept.
struct EntryPlaces {
  std::uint16_t of_entry[matrix_numbers];
  Entry kept[matrix_numbers];
  int count;

  constexpr const std::uint16_t* row(int row) const noexcept { return of_entry + coordinate_count * row; }
};

/// Returns the last coordinate of the joint that moves a body. Every joint except the root's has one.
constexpr int last_coordinate_of(int body) noexcept { return first_joint - 1 + body; }
static_assert(coordinate_count == last_coordinate_of(body_count - 1) + 1);

/// Returns the coordinate above another one in the tree, in which the root's coordinates follow each other; -1 above
/// the first. Source: R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 6.5, the expanded parent array.
constexpr int parent_coordinate(int k) noexcept {
  const int body = k - last_coordinate_of(0);
  return body <= 0 ? k - 1 : last_coordinate_of(metapod::models::KorvelRobot::bodies[body].parent);
}

/// Numbers entries row by row from a column on. A symmetric matrix has those up to the diagonal, which stand for those
/// beyond it too.
template <bool is_symmetric, int first_column = 0>
constexpr EntryPlaces tabulated_places() noexcept {
  bool related[coordinate_count][coordinate_count]{};
  for (int k = 0; k < coordinate_count; ++k) {
    for (int above = k; above >= 0; above = parent_coordinate(above)) related[k][above] = related[above][k] = true;
  }
  EntryPlaces places{};
  // Numbered from 1 so far, and 0 for those that are always zero.
  for (int row = 0; row < coordinate_count; ++row) {
    for (int column = first_column; column < (is_symmetric ? row + 1 : coordinate_count); ++column) {
      if (!related[row][column]) continue;
      places.kept[places.count] = is_symmetric ? Entry{column, row} : Entry{row, column};
      const auto number = static_cast<std::uint16_t>(++places.count);
      places.of_entry[coordinate_count * row + column] = number;
      if (is_symmetric) places.of_entry[coordinate_count * column + row] = number;
    }
  }
  for (std::uint16_t& place : places.of_entry) {
    place = static_cast<std::uint16_t>(place == 0 ? places.count : place - 1);
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

}  // namespace korvel::batch
