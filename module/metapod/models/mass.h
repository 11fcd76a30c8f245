#pragma once

#include "metapod/spatial/inertia.h"

namespace metapod::models {

/// Mass properties of a node's bodies, in their own frames.
template <typename Scalar>
struct MassT {
  Spatial::InertiaT<Scalar> inertia{};
  Spatial::Vector3T<Scalar> center_of_mass{};  ///< not finite for a massless body
};

}  // namespace metapod::models
