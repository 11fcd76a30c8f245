#include "batch/kernels/mass_entries.h"

namespace korvel::batch {

namespace {

constexpr auto tabulated_entries() noexcept {
  std::array<MassEntry, mass_entry_count> entries{};
  std::size_t next = 0;
  for (int column = 0; column < coordinate_count; ++column) {
    for (int row = 0; row <= column; ++row) {
      if (can_differ_from_zero(row, column)) entries[next++] = {row, column};
    }
  }
  return entries;
}

}  // namespace

const std::array<std::array<int, coordinate_count>, coordinate_count> mass_places = tabulated_mass_places();
const std::array<MassEntry, mass_entry_count> mass_entries = tabulated_entries();

}  // namespace korvel::batch
