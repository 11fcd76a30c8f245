#pragma once

#include "metapod/algos/gather_scatter.h"
#include "metapod/algos/traversal.h"
#include "metapod/spatial/out_of_line.h"

namespace metapod {

/// Composite rigid body algorithm: the joint-space inertia matrix H, generalized force = H ddq at zero velocity and
/// without gravity.
///
/// Frames  node quantities in the node's own frame
/// Shapes  H 30 x 30, column by column without gaps
/// Reads   iXp of all nodes but the root, the inertias
/// Writes  Icomp and IcompS of all nodes; of H the diagonal blocks and the blocks that couple a joint with one
///         above it, both halves with the same bits. Entries that couple different limbs are left alone.
/// After   a joint pass with the current positions; not checked
/// Source  R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 6.2 and table 6.2
///
/// The second argument says whether the algorithm runs a joint pass of its own; there is only the variant that does
/// not.
template <typename Model, bool jcalc>
struct crba;

template <typename Model>
struct crba<Model, false> {
  static void run(Model& model, float* H) noexcept {
    internal::depth_first_traversal_internal<DftVisitor, Model, 0>::run(model, H);
  }

  template <typename, int i>
  struct DftVisitor {
    using Node = NodeOf<Model, i>;

    static void discover(Model& model, float*) noexcept { node<i>(model).Icomp = Model::template inertia<i>(); }

    static void finish(Model& model, float* H) noexcept {
      auto& n = node<i>(model);
      if constexpr (Node::parent != models::no_parent) {
        add_to_parent<Node>(node<Node::parent>(model).Icomp, n.iXp.applyInv(n.Icomp));
      }
      n.IcompS = n.Icomp * n.joint.S;
      internal::scatter_symmetric<Node, Node, Model::dof_count>(H, n.joint.S.transpose() * n.IcompS);
      internal::backward_traversal_internal<BwdtVisitor, Model, i>::run(model, H);
    }

    /// One step of the walk from node i to the root: from P to its parent J.
    template <typename, int J, int P>
    struct BwdtVisitor {
      static void discover(Model& model, float* H) noexcept {
        auto& n = node<i>(model);
        carry_back(node<P>(model).iXp, n.IcompS);
        internal::scatter_symmetric<NodeOf<Model, J>, Node, Model::dof_count>(
            H, node<J>(model).joint.S.transpose() * n.IcompS);
      }
    };
  };
};

}  // namespace metapod
