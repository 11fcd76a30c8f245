#pragma once

/// Steps that many nodes take with the same types. Inlined like everything else in a computation, or as functions that
/// are called: straight-line code of more than some 20 KB does not stay in a processor's cache of decoded instructions,
/// and then takes a fifth longer, which is more than these calls. Where a computation serves many states at once, its
/// values are better kept in registers than handed over.

#include "metapod/spatial/motion_subspace.h"
#include "metapod/spatial/pack.h"

namespace metapod::Spatial {

struct StepsInlined {
  /// Equation of motion of a single body: the force on a body with velocity v and acceleration a.
  template <typename Scalar>
  static ForceT<Scalar> equation_of_motion(const InertiaT<Scalar>& I, const MotionT<Scalar>& v,
                                           const MotionT<Scalar>& a) noexcept {
    return I * a + cross(v, I * v);
  }

  /// Forces given in B become those in A.
  template <typename R, typename T, std::size_t n>
  static void carry_back(const TransformT<R, T>& X_BA, ForceSetT<typename R::Scalar, n>& forces) noexcept {
    forces = applyInv(X_BA, forces);
  }
};

struct StepsCalled {
  static Force equation_of_motion(const Inertia& I, const Motion& v, const Motion& a) noexcept {
    return StepsInlined::equation_of_motion(I, v, a);
  }
  [[gnu::noinline]] static ForceT<Pack> equation_of_motion(const InertiaT<Pack>& I, const MotionT<Pack>& v,
                                                           const MotionT<Pack>& a) noexcept {
    return StepsInlined::equation_of_motion(I, v, a);
  }

  template <typename R, typename T, std::size_t n>
  [[gnu::noinline]] static void carry_back(const TransformT<R, T>& X_BA,
                                           ForceSetT<typename R::Scalar, n>& forces) noexcept {
    StepsInlined::carry_back(X_BA, forces);
  }
};

}  // namespace metapod::Spatial
