#include "batch/kernels/entries.h"

namespace korvel::batch {

namespace {

constexpr PackedColumns tabulated_columns() noexcept {
  constexpr EntryPlaces places = tabulated_places<true>();
  PackedColumns columns{};
  for (std::size_t column = 0; column < places.of_entry.size(); ++column) {
    for (std::size_t row = 0; row <= column; ++row) {
      const int place = places.of_entry[row][column];
      if (place < places.count) columns.row[static_cast<std::size_t>(place)] = static_cast<int>(row);
    }
    columns.first[column + 1] = places.of_entry[column][column] + 1;
  }
  return columns;
}

}  // namespace

const EntryPlaces mass_places = tabulated_places<true>();
const EntryPlaces position_places = tabulated_places<false, first_angle>();
const EntryPlaces velocity_places = tabulated_places<false>();
const PackedColumns packed_columns = tabulated_columns();

}  // namespace korvel::batch
