#pragma once

#include "metapod/models/lanes.h"

namespace metapod::models {

/// The lanes of a node, as bits, in which the tree transform's rotation is the identity.
template <typename Robot>
constexpr unsigned identity_lanes(const NodeBodies& bodies) noexcept {
  unsigned bits = 0;
  for (int lane = 0; lane < bodies.count; ++lane) {
    const int body = bodies.body[static_cast<std::size_t>(lane)];
    if (body != no_body && is_identity(Robot::bodies[body].rotation)) bits |= 1U << lane;
  }
  return bits;
}

/// A vector of the tree transforms of a node's bodies. Components that vanish for all of them are of type Zero.
template <typename Robot, typename Node, typename Vector>
class TreeVector {
  template <float Spatial::Vector3::*component>
  static constexpr bool vanishes() noexcept {
    for (const int body : Node::bodies.body) {
      if (body != no_body && !is_zero(Vector::of(Robot::bodies[body]).*component)) return false;
    }
    return true;
  }

  template <float Spatial::Vector3::*component>
  static constexpr auto gathered() noexcept {
    if constexpr (vanishes<component>()) {
      return Spatial::Zero{};
    } else {
      return typename Node::Scalar(gather<Node>([](int body) { return Vector::of(Robot::bodies[body]).*component; }));
    }
  }

 public:
  static constexpr auto value = Spatial::VectorOf{gathered<&Spatial::Vector3::x>(), gathered<&Spatial::Vector3::y>(),
                                                  gathered<&Spatial::Vector3::z>()};
};

struct Translation {
  static constexpr auto& of(const BodyDescription& body) noexcept { return body.translation; }
};
template <Spatial::Vector3 Spatial::Matrix3::*column>
struct RotationColumn {
  static constexpr auto& of(const BodyDescription& body) noexcept { return body.rotation.*column; }
};

/// The tree transform: from the parents' frames to the frames of the node's joints at zero. Its rotation has the kind
/// that the robot's table allows.
template <typename Robot, typename Node>
constexpr auto tree_transform() noexcept {
  using Scalar = typename Node::Scalar;
  using Matrix3 = Spatial::Matrix3;
  constexpr unsigned unrotated_lanes = identity_lanes<Robot>(Node::bodies);
  constexpr auto r = TreeVector<Robot, Node, Translation>::value;
  if constexpr (unrotated_lanes != 0 && Node::bodies.count == 1) {
    return Spatial::TransformT(Spatial::RotationMatrixIdentityT<Scalar>{}, r);
  } else {
    constexpr Spatial::MatrixOf E{TreeVector<Robot, Node, RotationColumn<&Matrix3::column0>>::value,
                                  TreeVector<Robot, Node, RotationColumn<&Matrix3::column1>>::value,
                                  TreeVector<Robot, Node, RotationColumn<&Matrix3::column2>>::value};
    return Spatial::TransformT(Spatial::RotationOf<Scalar, std::decay_t<decltype(E)>, unrotated_lanes>(E), r);
  }
}

/// The constants of a node, which are known at build time.
template <typename Robot, typename Partition, int node_id>
struct NodeConstants {
  static constexpr NodeBodies bodies = Partition::nodes[node_id];
  using Number = typename Partition::Number;
  /// One body has the numbers of the partition, several stand in the lanes of a pack.
  using Scalar = std::conditional_t<bodies.count == 1, Number, Spatial::Pack>;

  static constexpr int id = node_id;
  static constexpr int parent = node_parents_of<Robot, Partition>()[node_id];
  using Children = typename ChildrenOf<Robot, Partition, node_id>::type;

  /// Index of the first coordinate of a body's joint.
  static constexpr int dof_index_of(int body) noexcept {
    return dof_indexes_of<Robot>()[static_cast<std::size_t>(body)];
  }
  static constexpr int dof_index = dof_index_of(bodies.any());

  using Joint = std::conditional_t<parent == no_parent, FreeFlyerBodyJointT<Scalar>, RevoluteJointAboutZT<Scalar>>;
};

/// One node of a computation, with the working state that the algorithms leave in it. All spatial quantities are in the
/// frame of the node's body, or of each lane's. Which pass writes what:
///   joint, iXp     the joint passes; joint.vj only the one with velocities
///   vi, ai, fi     inverse dynamics
///   Icomp, IcompS  the composite rigid body algorithms
/// Until then rotations and everything else are zero, so a result computed too early does not depend on what the memory
/// held before.
template <typename Robot, typename Partition, int node_id>
struct Node : NodeConstants<Robot, Partition, node_id> {
  using Constants = NodeConstants<Robot, Partition, node_id>;
  using typename Constants::Joint;
  using typename Constants::Scalar;

  static constexpr auto Xt = tree_transform<Robot, Constants>();

  using ParentToBody = decltype(typename Joint::Transform{} * Xt);
  using CompositeForces = Spatial::ForceSetT<Scalar, Joint::dof>;

  ParentToBody iXp{};        ///< from the parent's frame to this body's frame
  CompositeForces IcompS{};  ///< Icomp S; after a run of the algorithm in the root's frame
  Joint joint{};
  Spatial::ForceT<Scalar> fi{};  ///< force that the joint transmits
  Spatial::MotionT<Scalar> vi{};
  Spatial::MotionT<Scalar> ai{};
  Spatial::InertiaT<Scalar> Icomp{};  ///< inertia of the whole subtree
};

}  // namespace metapod::models
