#include "batch/kernels/derivative_entries.h"

namespace korvel::batch {

namespace {

constexpr auto tabulated_entries() noexcept {
  constexpr MassPlaces places = tabulated_mass_places();
  std::array<MassEntry, static_cast<std::size_t>(mass_entry_count)> entries{};
  for (std::size_t row = 0; row < places.of_entry.size(); ++row) {
    for (std::size_t column = row; column < places.of_entry.size(); ++column) {
      const int place = places.of_entry[row][column];
      if (place < places.count) {
        entries[static_cast<std::size_t>(place)] = {static_cast<int>(row), static_cast<int>(column)};
      }
    }
  }
  return entries;
}

constexpr PackedColumns tabulated_columns() noexcept {
  constexpr MassPlaces places = tabulated_mass_places();
  PackedColumns columns{};
  for (std::size_t column = 0; column < places.of_entry.size(); ++column) {
    int& count = columns.count[column];
    for (std::size_t row = 0; row < column; ++row) {
      if (places.of_entry[row][column] < places.count) {
        columns.rows[column][static_cast<std::size_t>(count++)] = static_cast<int>(row);
      }
    }
    columns.first[column] = places.of_entry[column][column] - count;
  }
  return columns;
}

}  // namespace

const PackedColumns packed_columns = tabulated_columns();
const DerivativePlaces position_places = tabulated_derivative_places<first_angle>();
const DerivativePlaces velocity_places = tabulated_derivative_places<0>();
const MassPlaces mass_places = tabulated_mass_places();
const std::array<MassEntry, static_cast<std::size_t>(mass_entry_count)> mass_entries = tabulated_entries();

}  // namespace korvel::batch
