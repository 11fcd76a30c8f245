#pragma once

#include "metapod/algos/crba.h"

namespace metapod {

/// The composite rigid body algorithm for the robot without one body: body k has no inertia, its descendants keep
/// theirs. A k that names no body leaves nothing out. All else is as crba says.
template <typename Model>
struct partial_crba {
  static void run(Model& model, float* H, int k) noexcept {
    internal::SymmetricMatrix<Model::dof_count> matrix{H};
    internal::depth_first_traversal_internal<DftVisitor, Model, 0>::run(model, matrix, k);
  }

  template <typename, int i>
  struct DftVisitor {
    using Whole = typename crba<Model, after_jcalc>::template DftVisitor<Model, i>;

    template <typename Matrix>
    static void discover(Model& model, Matrix&, int k) noexcept {
      node<i>(model).Icomp = without<NodeOf<Model, i>>(model.template inertia<i>(), k);
    }

    template <typename Matrix>
    static void finish(Model& model, Matrix& H, int) noexcept {
      Whole::finish(model, H);
    }
  };
};

}  // namespace metapod
