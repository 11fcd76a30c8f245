#pragma once

#include "metapod/algos/gather_scatter.h"
#include "metapod/algos/traversal.h"

namespace metapod {

/// Linear momentum of the robot without body k per unit of each generalized velocity: the mass of that robot times the
/// jacobian of its centre of mass.
///
/// These are rows 0 to 2 of the matrix of partial_crba, turned into the world's axes, with the same bits, signs
/// of zeros apart. Rotational inertia and moments never reach these rows, so masses, first moments and linear forces
/// are all that is carried.
///
/// Frames  world axes
/// Shapes  J 3 x n for n coordinates, consecutive columns [kg], [kg m]
/// Reads   iXp of all nodes, masses and first moments
/// Writes  mass and first moment of Icomp, linear part of IcompS of all nodes; all of J
/// After   a joint pass with the current positions; not checked
/// Source  R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 6.2: rows of the root's linear velocity
template <typename Model>
struct partial_com_jacobian {
  static void run(Model& model, float* J, int k) noexcept {
    internal::depth_first_traversal_internal<DftVisitor, Model, 0>::run(model, J, k);
  }

  template <typename, int i>
  struct DftVisitor {
    using Node = NodeOf<Model, i>;

    static void discover(Model& model, float*, int k) noexcept {
      auto& Icomp = node<i>(model).Icomp;
      Icomp.m = without<Node>(model.template inertia<i>().m, k);
      Icomp.h = without<Node>(model.template inertia<i>().h, k);
    }

    static void finish(Model& model, float* J, int) noexcept {
      auto& n = node<i>(model);
      if constexpr (Node::parent != models::no_parent) {
        auto& parent = node<Node::parent>(model);
        add_to_parent<Node>(parent.Icomp.m, n.Icomp.m);
        add_to_parent<Node>(parent.Icomp.h, n.iXp.E.applyTransposed(n.Icomp.h) + n.Icomp.m * n.iXp.r);
      }
      const auto IcompS = n.Icomp * n.joint.S;
      Spatial::unrolled<Node::Joint::dof>([&](auto k) { n.IcompS[k].f = IcompS[k].f; });
      internal::backward_traversal_internal<BwdtVisitor, Model, i>::run(model);
      const auto world_to_root = to_child<typename Node::Scalar>(node<0>(model).iXp.E);
      Spatial::unrolled<Node::Joint::dof>([&](auto k) {
        internal::scatter_columns<Node>(J, world_to_root.applyTransposed(n.IcompS[k].f), static_cast<int>(k));
      });
    }

    /// One step of the walk from node i to the root: from P to its parent J.
    template <typename, int J, int P>
    struct BwdtVisitor {
      static void discover(Model& model) noexcept {
        auto& f = node<i>(model).IcompS[0].f;
        f = node<P>(model).iXp.E.applyTransposed(f);
      }
    };
  };
};

}  // namespace metapod
