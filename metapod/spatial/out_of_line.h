#pragma once

/// Steps that many nodes take with the same types, as functions that are called. Everything else in a computation is
/// inlined, and straight-line code of more than some 20 KB does not stay in a processor's cache of decoded
/// instructions: it then takes a fifth longer, which is more than these calls.

#include "metapod/spatial/motion_subspace.h"
#include "metapod/spatial/pack.h"

namespace metapod::Spatial {

/// Equation of motion of a single body: the force on a body with velocity v and acceleration a.
template <typename Scalar>
ForceT<Scalar> equation_of_motion(const InertiaT<Scalar>& I, const MotionT<Scalar>& v,
                                  const MotionT<Scalar>& a) noexcept {
  return I * a + cross(v, I * v);
}
[[gnu::noinline]] inline ForceT<Pack> equation_of_motion(const InertiaT<Pack>& I, const MotionT<Pack>& v,
                                                         const MotionT<Pack>& a) noexcept {
  return equation_of_motion<Pack>(I, v, a);
}

/// Forces given in B become those in A.
template <typename R, typename T, std::size_t n>
[[gnu::noinline]] void carry_back(const TransformT<R, T>& X_BA, ForceSetT<typename R::Scalar, n>& forces) noexcept {
  forces = applyInv(X_BA, forces);
}

}  // namespace metapod::Spatial
