#pragma once

#include "metapod/spatial/vector3.h"

namespace korvel::contact {

/// A sole in a table.
struct SoleEntry {
  int body;
  int first_corner, end_corner;  ///< of its corners in the table, one after the other
  metapod::Spatial::Vector3T<double> centre_body;
};

/// Soles as plain numbers, which code for every instruction set reads.
struct SoleTable {
  const SoleEntry* soles;
  int sole_count;
  const metapod::Spatial::Vector3T<double>* corners_body;
  const double* frictions;  ///< of the corners
  int corner_count;
};

}  // namespace korvel::contact
