#include <math.h>  // NOLINT: sincos, which <cmath> does not promise

#include "metapod/spatial/sine_cosine_of_width.h"

namespace metapod::Spatial::internal {

SineCosineT<float> sine_cosine_of_runtime(float angle) noexcept {
  double sine = 0;
  double cosine = 0;
  ::sincos(static_cast<double>(angle), &sine, &cosine);
  return {static_cast<float>(sine), static_cast<float>(cosine)};
}

template struct SineCosineConstants<Pack::lanes>;
template SineCosineT<Pack> sine_cosine_lane_by_lane<Pack::lanes>(Pack) noexcept;

}  // namespace metapod::Spatial::internal
