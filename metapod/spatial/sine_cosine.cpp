#include <math.h>  // NOLINT: sincos, which <cmath> does not promise

#include "metapod/spatial/sine_cosine_constants.h"

namespace metapod::Spatial::internal {

SineCosineT<float> sine_cosine_of_runtime(float angle) noexcept {
  double sine = 0;
  double cosine = 0;
  ::sincos(static_cast<double>(angle), &sine, &cosine);
  return {static_cast<float>(sine), static_cast<float>(cosine)};
}

template struct SineCosineConstants<Pack::lanes>;

}  // namespace metapod::Spatial::internal
