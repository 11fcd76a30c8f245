#include "batch/kernels/mass_entries.h"

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

}  // namespace

const MassPlaces mass_places = tabulated_mass_places();
const std::array<MassEntry, static_cast<std::size_t>(mass_entry_count)> mass_entries = tabulated_entries();

}  // namespace korvel::batch
