#pragma once

#include "metapod/algos/coordinates.h"
#include "metapod/algos/traversal.h"

namespace metapod {

namespace internal {

/// Adds to a first moment of mass [kg m], in the root's frame, that of a node's body, X being the transform from the
/// root to the body.
template <typename Inertia, typename Transform, typename Vector>
void add_first_moment(const Inertia& inertia, const Transform& X, Vector& sum) noexcept {
  sum = inertia.m * X.applyInvToPoint(inertia.center_of_mass()) + sum;
}

template <typename Model, int node_id>
struct FwdKiniX1Visitor {
  using Node = NodeOf<Model, node_id>;

  template <typename Transform, typename Jacobian, typename Vector>
  static void discover(Model& model, Transform* iX1, Jacobian& jacobian, Vector& com) noexcept {
    const auto& i = node<node_id>(model);
    // i<-p after p<-1 is i<-1.
    iX1[node_id] = i.iXp * iX1[Node::parent];
    put_column<Node>(jacobian, applyInv(iX1[node_id], i.joint.S));
    add_first_moment(Model::template inertia<node_id>(), iX1[node_id], com);
  }
};

}  // namespace internal

/// Forward kinematics relative to the root.
///
/// Frames  root axes and root origin; iX1[i] leads from the root to body i
/// Shapes  iX1: one transform per body; jacobian 6 x 30, rows 0 to 2 angular [-], rows 3 to 5 linear [m]; com the first
///         moment of mass of the whole robot [kg m]
/// Reads   iXp of all nodes but the root, the inertias, iX1[0], which is the identity
/// Writes  iX1[1] and up, the jacobian's columns of the revolute joints, com
/// After   a joint pass with the current positions; not checked
/// Source  R. Featherstone, Rigid Body Dynamics Algorithms, 2008, ch. 4
template <typename Model>
struct fwd_kin_iX1 {
  template <typename Transform, typename Jacobian, typename Vector>
  static void run(Model& model, Transform* iX1, Jacobian& jacobian, Vector& com) noexcept {
    com = Model::template inertia<0>().h;
    // Parents come before their children in the order of ids.
    run_nodes(std::make_integer_sequence<int, Model::body_count - 1>{}, model, iX1, jacobian, com);
  }

 private:
  template <int... i, typename Transform, typename Jacobian, typename Vector>
  static void run_nodes(std::integer_sequence<int, i...>, Model& model, Transform* iX1, Jacobian& jacobian,
                        Vector& com) noexcept {
    (internal::FwdKiniX1Visitor<Model, i + 1>::discover(model, iX1, jacobian, com), ...);
  }
};

}  // namespace metapod
