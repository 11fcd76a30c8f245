#pragma once

/// The joint passes: bring every node's joint, and with it the transform from its parent, up to date. All other
/// algorithms read what the last of these passes left.

#include "metapod/algos/coordinates.h"
#include "metapod/algos/traversal.h"
#include "metapod/spatial/sine_cosine.h"

namespace metapod {

/// Coordinates of all joints with the sines and cosines of the angles among them, which are all but the root's
/// position. Refers to the coordinates.
template <typename Model>
class Positions {
  static constexpr int first_angle = NodeOf<Model, 0>::Joint::first_angle;
  static_assert(Model::dof_count - first_angle >= Spatial::Pack::lanes, "a batch is at least one pack");

 public:
  /// Of the coordinates 0 to last - 1; of the others the angles are not looked at.
  explicit Positions(const float* q, int last = Model::dof_count) noexcept : q_(q) {
    Spatial::store<first_angle>(sine_, Spatial::Pack{});
    Spatial::store<first_angle>(cosine_, Spatial::Pack{});
    Spatial::sine_cosine(q, sine_, cosine_, first_angle, last);
  }

  template <typename Node>
  typename Node::Joint::Positions of() const noexcept {
    using internal::get;
    return {get<Node>(q_), get<Node>(sine_), get<Node>(cosine_)};
  }

 private:
  const float* q_;
  float sine_[Model::dof_count];
  float cosine_[Model::dof_count];
};

namespace internal {

/// Positions only.
/// Writes  joint.Xj, iXp
template <typename Model, int node_id>
struct JcalcPosVisitor {
  using Node = NodeOf<Model, node_id>;

  static void discover(Model& model, const Positions<Model>& positions) noexcept {
    auto& i = node<node_id>(model);
    i.joint.jcalcPos(positions.template of<Node>());
    i.iXp = i.joint.Xj * Node::Xt;
  }

  static void finish(Model&, const Positions<Model>&) noexcept {}
};

/// Positions and velocities.
/// Writes  joint.Xj, joint.vj, iXp
template <typename Model, int node_id>
struct JcalcVisitor {
  using Node = NodeOf<Model, node_id>;

  static void discover(Model& model, const Positions<Model>& positions, const float* dq) noexcept {
    auto& i = node<node_id>(model);
    i.joint.jcalc(positions.template of<Node>(), get<Node>(dq));
    i.iXp = i.joint.Xj * Node::Xt;
  }

  static void finish(Model&, const Positions<Model>&, const float*) noexcept {}
};

}  // namespace internal

}  // namespace metapod
