#pragma once

#include "metapod/algos/first_moments.h"

namespace metapod {

namespace internal {

template <typename Model, int node_id>
struct FwdKiniX1Visitor {
  using Node = NodeOf<Model, node_id>;

  template <typename Jacobian, typename Moments>
  static void discover(const Model& model, RootToBody<Model>& iX1, Jacobian& jacobian, Moments& of_bodies) noexcept {
    const auto& i = at<node_id>(model.nodes);
    // i<-p after p<-1 is i<-1.
    if constexpr (Node::parent == 0) {
      at<node_id>(iX1) = RootToBodyOf<Node>(i.iXp);
    } else {
      at<node_id>(iX1) = i.iXp * at<Node::parent>(iX1);
    }
    jacobian.template scatter<Node>(applyInv(at<node_id>(iX1), i.joint.S));
    PartialComVisitor<Model, node_id>::discover(model, iX1, of_bodies);
  }
};

}  // namespace internal

/// Forward kinematics relative to the root.
///
/// Frames  root axes and root origin; iX1 leads from the root to each body
/// Shapes  jacobian 6 x n for n coordinates, consecutive columns, rows 0 to 2 angular [-], rows 3 to 5 linear [m]; one
///         first moment of mass per body [kg m]
/// Reads   iXp of all nodes but the root, the inertias
/// Writes  iX1 and the jacobian's columns of all nodes but the root, all moments
/// After   a joint pass with the current positions; not checked
/// Source  R. Featherstone, Rigid Body Dynamics Algorithms, 2008, ch. 4
template <typename Model>
struct fwd_kin_iX1 {
  static void run(Model& model, RootToBody<Model>& iX1, float* jacobian, FirstMoments<Model>& moments) noexcept {
    const internal::Columns6 columns{jacobian};
    moments.compute(model, [&](const internal::VectorsOverBodies& of_bodies) {
      for_each_node_below_root<Model>(
          [&](auto i) { internal::FwdKiniX1Visitor<Model, i>::discover(model, iX1, columns, of_bodies); });
    });
  }
};

}  // namespace metapod
