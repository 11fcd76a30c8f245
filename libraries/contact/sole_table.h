#pragma once

#include <vector>

#include "metapod/spatial/vector3.h"

namespace korvel::contact {

/// A sole in a table.
struct SoleEntry {
  int body;
  std::size_t first_corner, end_corner;  ///< of its corners in the table, one after the other
  metapod::Spatial::Vector3T<double> centre_body;
};

/// Soles as plain numbers, which code for every instruction set reads.
struct SoleTable {
  std::vector<SoleEntry> soles;
  std::vector<metapod::Spatial::Vector3T<double>> corners_body;
  std::vector<double> frictions;  ///< of the corners
};

}  // namespace korvel::contact
