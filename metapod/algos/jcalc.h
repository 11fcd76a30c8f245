#pragma once

/// The joint passes: bring every node's joint, and with it the transform from its parent, up to date. All other
/// algorithms read what the last of these passes left.

#include "metapod/algos/coordinates.h"
#include "metapod/algos/traversal.h"

namespace metapod::internal {

/// Positions only.
/// Reads   q (30)   Writes  joint.Xj, iXp
template <typename Model, int node_id>
struct JcalcPosVisitor {
  using Node = NodeOf<Model, node_id>;

  template <typename Vector>
  static void discover(Model& model, const Vector& q) noexcept {
    auto& i = node<node_id>(model);
    i.joint.jcalcPos(get<Node>(q));
    i.iXp = i.joint.Xj * Node::Xt;
  }

  template <typename Vector>
  static void finish(Model&, const Vector&) noexcept {}
};

/// Positions and velocities.
/// Reads   q, dq (30 each)   Writes  joint.Xj, joint.vj, iXp
template <typename Model, int node_id>
struct JcalcVisitor {
  using Node = NodeOf<Model, node_id>;

  template <typename Vector>
  static void discover(Model& model, const Vector& q, const Vector& dq) noexcept {
    auto& i = node<node_id>(model);
    i.joint.jcalc(get<Node>(q), get<Node>(dq));
    i.iXp = i.joint.Xj * Node::Xt;
  }

  template <typename Vector>
  static void finish(Model&, const Vector&, const Vector&) noexcept {}
};

}  // namespace metapod::internal
