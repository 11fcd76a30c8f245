#pragma once

#include "metapod/algos/gather_scatter.h"
#include "metapod/algos/jcalc.h"
#include "metapod/algos/traversal.h"

namespace metapod {

/// Composite rigid body algorithm: the joint-space inertia matrix H, generalized force = H ddq at zero velocity and
/// without gravity.
///
/// Frames  node quantities in the node's own frame
/// Shapes  H n x n for n coordinates, column by column without gaps
/// Reads   iXp of all nodes but the root, the inertias
/// Writes  Icomp and IcompS of all nodes; of H the diagonal blocks and the blocks that couple a joint with one
///         above it, both halves with the same bits. Entries that couple different limbs are left alone.
/// After   a joint pass with the current positions; not checked
/// Source  R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 6.2 and table 6.2
///
/// The second argument is `after_jcalc`, or `with_jcalc`: every visit then begins with that of the joint pass with
/// positions, which need not have run. The caller has taken sines and cosines.
template <typename Model, bool jcalc>
struct crba;

template <typename Model>
struct crba<Model, after_jcalc> {
  static void run(Model& model, float* H) noexcept {
    internal::SymmetricMatrix<Model::dof_count> matrix{H};
    internal::depth_first_traversal_internal<DftVisitor, Model, 0>::run(model, matrix);
  }

  template <typename, int i>
  struct DftVisitor {
    using Node = NodeOf<Model, i>;

    template <typename Matrix>
    static void discover(Model& model, Matrix&) noexcept {
      node<i>(model).Icomp = model.template inertia<i>();
    }

    template <typename Matrix>
    static void finish(Model& model, Matrix& H) noexcept {
      auto& n = node<i>(model);
      if constexpr (Node::parent != models::no_parent) {
        add_to_parent<Node>(node<Node::parent>(model).Icomp, n.iXp.applyInv(n.Icomp));
      }
      n.IcompS = n.Icomp * n.joint.S;
      H.template scatter<Node, Node>(n.joint.S.transpose() * n.IcompS);
      internal::backward_traversal_internal<BwdtVisitor, Model, i>::run(model, H);
    }

    /// One step of the walk from node i to the root: from P to its parent J.
    template <typename, int J, int P>
    struct BwdtVisitor {
      template <typename Matrix>
      static void discover(Model& model, Matrix& H) noexcept {
        auto& n = node<i>(model);
        Model::Steps::carry_back(node<P>(model).iXp, n.IcompS);
        H.template scatter<NodeOf<Model, J>, Node>(node<J>(model).joint.S.transpose() * n.IcompS);
      }
    };
  };
};

template <typename Model>
struct crba<Model, with_jcalc> {
  template <typename Number, typename Angles, typename Matrix>
  static void run(Model& model, const Number* q, const Angles& angles, Matrix& H) noexcept {
    internal::depth_first_traversal_internal<DftVisitor, Model, 0>::run(model, q, angles, H);
  }

  template <typename, int i>
  struct DftVisitor {
    using Whole = typename crba<Model, after_jcalc>::template DftVisitor<Model, i>;

    template <typename Number, typename Angles, typename Matrix>
    static void discover(Model& model, const Number* q, const Angles& angles, Matrix& H) noexcept {
      internal::JcalcPosVisitor<Model, i>::discover(model, q, angles);
      Whole::discover(model, H);
    }

    template <typename Number, typename Angles, typename Matrix>
    static void finish(Model& model, const Number*, const Angles&, Matrix& H) noexcept {
      Whole::finish(model, H);
    }
  };
};

}  // namespace metapod
