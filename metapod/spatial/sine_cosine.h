#pragma once

#include <math.h>  // sincos, which <cmath> does not promise

#include "metapod/spatial/scalar.h"

namespace metapod::Spatial {

template <typename Scalar>
struct SineCosineT {
  Scalar sine;
  Scalar cosine;
};

/// Sine and cosine of an angle [rad], each computed in double precision and rounded once. Every angle of the system
/// comes through here.
inline SineCosineT<float> sine_cosine(float angle) noexcept {
  double sine = 0;
  double cosine = 0;
  ::sincos(static_cast<double>(angle), &sine, &cosine);
  return {static_cast<float>(sine), static_cast<float>(cosine)};
}

}  // namespace metapod::Spatial
