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

    static void discover(Model& model, float*, int k) noexcept {
      using Node = NodeOf<Model, i>;
      const auto& [m, h, I] = Model::template inertia<i>();
      node<i>(model).Icomp = {without<Node>(m, k),
                              without<Node>(h, k),
                              {without<Node>(I.xx, k), without<Node>(I.yx, k), without<Node>(I.yy, k),
                               without<Node>(I.zx, k), without<Node>(I.zy, k), without<Node>(I.zz, k)}};
    }

    static void finish(Model& model, float* H, int) noexcept { Whole::finish(model, H); }
  };
};

}  // namespace metapod
