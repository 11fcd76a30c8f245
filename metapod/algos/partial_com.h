#pragma once

#include "metapod/algos/fwd_kin_iX1.h"

namespace metapod::internal {

/// Sum over bodies of mass times centre of mass, one body left out (its descendants count).
///
/// Frames  root axes and root origin
/// Reads   iX1 as forward kinematics left it, the inertias
/// Writes  sum [kg m], which the caller seeds with the root's own first moment
/// After   fwd_kin_iX1; not checked
template <typename Model, int node_id>
struct PartialComVisitor {
  template <typename Transform, typename Vector>
  static void discover(Model&, const Transform* iX1, int excluded, Vector& sum) noexcept {
    if (node_id != excluded) add_first_moment(Model::template inertia<node_id>(), iX1[node_id], sum);
  }

  template <typename Transform, typename Vector>
  static void finish(Model&, const Transform*, int, Vector&) noexcept {}
};

}  // namespace metapod::internal
