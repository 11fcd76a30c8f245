#pragma once

#include <vector>

namespace korvel::host {

/// A sample of a results file as it is read.
struct ResultsSample {
  double time;                       ///< [s]
  double elapsed;                    ///< since the first sample [s], also exact where times are large
  const std::vector<float>& values;  ///< of the columns that were asked for, in their order
};

}  // namespace korvel::host
