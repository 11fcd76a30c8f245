#pragma once

#include <cstddef>
#include <new>

#include "metapod/algos/jcalc.h"
#include "metapod/models/gravity.h"

namespace metapod::internal {

/// The motion of a body and the force that its joint transmits, for algorithms whose records live from a visit of their
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

/// The transform, the velocity and the acceleration of a node's body, with the bits of `rnea`. A motion has q, dq and
/// ddq with one number for each coordinate, and the sines and cosines of the angles.
template <typename Node, typename Record, typename Parent, typename Motion>
void place(Record& own, const Parent& parent, const Motion& motion) noexcept {
  static_assert(Node::bodies.count == 1, "one body for each node");
  typename Node::Joint joint;
  joint.jcalcPos(motion.angles.template of<Node>(motion.q));
  const auto& iXp = *new (&own.iXp.value) typename Node::ParentToBody(joint.Xj * Node::Xt);
  if constexpr (Node::parent == models::no_parent) {
    put_in(own.v, joint.S * gather_coordinates<Node>(motion.dq));
    put_in(own.a, iXp * to_child<typename Node::Scalar>(minus_g) + joint.S * gather_coordinates<Node>(motion.ddq));
  } else {
    move(iXp, parent, own, motion.dq[Node::dof_index], motion.ddq[Node::dof_index]);
  }
}

/// Three consecutive numbers of an array, or numbers at the same distance.
template <typename Scalar>
void write_vector(const Spatial::Vector3T<Scalar>& x, Scalar* to, std::ptrdiff_t distance = 1) noexcept {
  to[0] = x.x;
  to[distance] = x.y;
  to[2 * distance] = x.z;
}

}  // namespace metapod::internal
