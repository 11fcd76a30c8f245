#pragma once

#include <string>

#include "metapod/models/topology.h"

namespace metapod::models {

/// The tree transform of a body, of identity kind where its rotation is the identity.
template <typename Robot, int id, typename Scalar>
constexpr auto tree_transform() noexcept {
  constexpr const BodyDescription& body = Robot::bodies[id];
  if constexpr (is_identity(body.rotation)) {
    return Spatial::TransformT(Spatial::RotationMatrixIdentityT<Scalar>{}, body.translation);
  } else {
    return Spatial::TransformT(Spatial::RotationMatrixT<Scalar>(body.rotation), body.translation);
  }
}

/// One body of the tree: what is known about it at build time, and the working state that the algorithms leave in it.
/// All spatial quantities are in the body's own frame. Which pass writes what:
///   joint, iXp     the joint passes; joint.vj only the one with velocities
///   vi, ai, fi     inverse dynamics
///   Icomp, IcompS  the composite rigid body algorithms
/// Until then rotations and everything else are zero, so a result computed too early does not depend on what the memory
/// held before.
template <typename Robot, int node_id>
struct Node {
  using Scalar = float;
  using Joint = JointOf<Robot, node_id, Scalar>;
  using children = ChildrenOf<Robot, node_id>;

  static constexpr int id = node_id;
  static constexpr int parent = Robot::bodies[id].parent;
  static constexpr int dof_index = dof_indexes_of<Robot>()[id];

  static inline const std::string joint_name{Robot::bodies[id].name};
  static inline const std::string body_name{Robot::bodies[id].name};

  /// From the parent's frame to the joint's frame at zero.
  static constexpr auto Xt = tree_transform<Robot, id, Scalar>();

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
