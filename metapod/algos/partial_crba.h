#pragma once

#include "metapod/algos/crba.h"

namespace metapod {

/// The composite rigid body algorithm for the robot without one body: body k has no inertia, its descendants keep
/// theirs. A k that names no body leaves nothing out. All else is as crba says.
template <typename Model>
struct partial_crba {
  template <typename, int i>
  struct DftVisitor {
    using Whole = typename crba<Model, false>::template DftVisitor<Model, i>;

    template <typename Matrix>
    static void discover(Model& model, Matrix&, int k) noexcept {
      using Inertia = Spatial::InertiaT<typename NodeOf<Model, i>::Scalar>;
      node<i>(model).Icomp = i == k ? Inertia{} : Model::template inertia<i>();
    }

    template <typename Matrix>
    static void finish(Model& model, Matrix& H, int) noexcept {
      Whole::finish(model, H);
    }
  };
};

}  // namespace metapod
