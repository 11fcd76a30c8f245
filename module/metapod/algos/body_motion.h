#pragma once

#include <new>

#include "metapod/algos/jcalc.h"
#include "metapod/models/gravity.h"

namespace metapod::internal {

/// How a body moves and the force that its joint transmits, for algorithms whose records live from a visit of their
/// traversal to the next.
template <typename Scalar>
struct BodyMotion {
  Spatial::MotionT<Scalar> v, a;
  Spatial::ForceT<Scalar> f;
};

/// Memory for a value that is made later, in place: records are not cleared before they are written.
template <typename Value>
struct RoomFor {
  RoomFor() noexcept {}  // NOLINT(modernize-use-equals-default): that would be deleted

  union {
    Value value;
  };
};

/// Joins what an algorithm keeps of a node's body and the transform to it from its parent.
template <typename Node, typename Body>
struct RecordOf : Body {
  RoomFor<typename Node::ParentToBody> iXp;
};

/// The first step of `rnea` for a body that is not the root; called, because many nodes have transforms of one type.
template <typename Transform, typename Scalar>
[[gnu::noinline, gnu::flatten]] void move(const Transform& iXp, const BodyMotion<Scalar>& parent,
                                          BodyMotion<Scalar>& own, Scalar dq, Scalar ddq) noexcept {
  constexpr Spatial::ConstraintMotionAboutZT<Scalar> S{};
  const auto vj = S * Spatial::CoordinatesT<Scalar, 1>{dq};
  const auto v = iXp * parent.v + vj;
  put_in(own.v, v);
  put_in(own.a, iXp * parent.a + S * Spatial::CoordinatesT<Scalar, 1>{ddq} + cross(v, vj));
}

/// The transform, the velocity and the acceleration of a node's body, with the bits of `rnea`.
template <typename Node, typename Record, typename Parent, typename Number, typename Angles>
void place(Record& own, const Parent& parent, const Number* q, const Angles& angles, const Number* dq,
           const Number* ddq) noexcept {
  static_assert(Node::bodies.count == 1, "one body for each node");
  typename Node::Joint joint;
  joint.jcalcPos(angles.template of<Node>(q));
  const auto& iXp = *new (&own.iXp.value) typename Node::ParentToBody(joint.Xj * Node::Xt);
  if constexpr (Node::parent == models::no_parent) {
    put_in(own.v, joint.S * gather_coordinates<Node>(dq));
    put_in(own.a, iXp * to_child<typename Node::Scalar>(minus_g) + joint.S * gather_coordinates<Node>(ddq));
  } else {
    move(iXp, parent, own, dq[Node::dof_index], ddq[Node::dof_index]);
  }
}

}  // namespace metapod::internal
