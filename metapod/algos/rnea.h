#pragma once

#include "metapod/algos/external_forces.h"
#include "metapod/algos/gather_scatter.h"
#include "metapod/algos/traversal.h"
#include "metapod/models/gravity.h"
#include "metapod/spatial/out_of_line.h"

namespace metapod {

/// Recursive Newton-Euler algorithm: the generalized forces of a motion.
///
/// Frames  node quantities in the node's own frame
/// Shapes  ddq and torques 30
/// Reads   iXp and joint of all nodes, the inertias
/// Writes  vi, ai, fi of all nodes; all of torques
/// After   the joint pass with velocities; not checked
/// Source  R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 5.3 and table 5.1
///
/// The second argument says whether the algorithm runs a joint pass of its own; there is only the variant that does
/// not.
template <typename Model, bool jcalc>
struct rnea;

template <typename Model>
struct rnea<Model, false> {
  static void run(Model& model, const float* ddq, const ExternalForces<Model>& fext, float* torques) noexcept {
    internal::depth_first_traversal_internal<DftVisitor, Model, 0>::run(model, ddq, fext, torques);
  }

  /// Velocity and acceleration of node i from those of its parent. The root's parent is the world: it does not move,
  /// and seems to accelerate against gravity.
  template <int i, int parent>
  struct update_kinematics {
    template <typename Coordinates>
    static void run(Model& model, const Coordinates& ddq_i) noexcept {
      auto& n = node<i>(model);
      const auto& vj = n.joint.vj;
      if constexpr (parent == models::no_parent) {
        n.vi = vj;
        n.ai = n.iXp * minus_g + n.joint.S * ddq_i + n.joint.cj;  // vi x vj is zero for finite products
      } else {
        const auto& p = node<parent>(model);
        using Scalar = typename NodeOf<Model, i>::Scalar;
        n.vi = n.iXp * to_child<Scalar>(p.vi) + vj;
        n.ai = n.iXp * to_child<Scalar>(p.ai) + n.joint.S * ddq_i + n.joint.cj + cross(n.vi, vj);
      }
    }
  };

  template <typename, int i>
  struct DftVisitor {
    using Node = NodeOf<Model, i>;

    static void discover(Model& model, const float* ddq, const ExternalForces<Model>& fext, float*) noexcept {
      update_kinematics<i, Node::parent>::run(model, internal::gather_coordinates<Node>(ddq));
      auto& n = node<i>(model);
      const auto& I = Model::template inertia<i>();
      n.fi = equation_of_motion(I, n.vi, n.ai) - fext.template on<i>();
    }

    static void finish(Model& model, const float*, const ExternalForces<Model>&, float* torques) noexcept {
      auto& n = node<i>(model);
      internal::scatter_coordinates<Node>(torques, n.joint.S.transpose() * n.fi);
      if constexpr (Node::parent != models::no_parent) {
        add_to_parent<Node>(node<Node::parent>(model).fi, n.iXp.applyInv(n.fi));
      }
    }
  };
};

}  // namespace metapod
