#pragma once

#include "metapod/algos/external_forces.h"
#include "metapod/algos/gather_scatter.h"
#include "metapod/algos/jcalc.h"
#include "metapod/algos/traversal.h"
#include "metapod/models/gravity.h"

namespace metapod {

/// Recursive Newton-Euler algorithm: the generalized forces of a motion.
///
/// Frames  node quantities in the node's own frame
/// Shapes  ddq and torques one number for each coordinate
/// Reads   iXp and joint of all nodes, the inertias
/// Writes  vi, ai, fi of all nodes; all of torques
/// After   the joint pass with velocities; not checked
/// Source  R. Featherstone, Rigid Body Dynamics Algorithms, 2008, section 5.3 and table 5.1
///
/// The second argument is `after_jcalc`, or `with_jcalc`: every visit then begins with that of the joint pass with
/// velocities, which need not have run. The caller has taken sines and cosines.
template <typename Model, bool jcalc>
struct rnea;

template <typename Model>
struct rnea<Model, after_jcalc> {
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
      using Scalar = typename NodeOf<Model, i>::Scalar;
      if constexpr (parent == models::no_parent) {
        n.vi = vj;
        n.ai =
            n.iXp * to_child<Scalar>(minus_g) + n.joint.S * ddq_i + n.joint.cj;  // vi x vj is zero for finite products
      } else {
        const auto& p = node<parent>(model);
        n.vi = n.iXp * to_child<Scalar>(p.vi) + vj;
        n.ai = n.iXp * to_child<Scalar>(p.ai) + n.joint.S * ddq_i + n.joint.cj + cross(n.vi, vj);
      }
    }
  };

  template <typename, int i>
  struct DftVisitor {
    using Node = NodeOf<Model, i>;

    template <typename Number, typename Forces>
    static void discover(Model& model, const Number* ddq, const Forces& fext, Number*) noexcept {
      update_kinematics<i, Node::parent>::run(model, internal::gather_coordinates<Node>(ddq));
      auto& n = node<i>(model);
      const auto& I = model.template inertia<i>();
      n.fi = Model::Steps::equation_of_motion(I, n.vi, n.ai) - fext.template on<i>();
    }

    template <typename Number, typename Forces>
    static void finish(Model& model, const Number*, const Forces&, Number* torques) noexcept {
      auto& n = node<i>(model);
      internal::scatter_coordinates<Node>(torques, n.joint.S.transpose() * n.fi);
      if constexpr (Node::parent != models::no_parent) {
        add_to_parent<Node>(node<Node::parent>(model).fi, n.iXp.applyInv(n.fi));
      }
    }
  };
};

template <typename Model>
struct rnea<Model, with_jcalc> {
  template <typename Number, typename Angles, typename Forces>
  static void run(Model& model, const Number* q, const Angles& angles, const Number* dq, const Number* ddq,
                  const Forces& fext, Number* torques) noexcept {
    internal::depth_first_traversal_internal<DftVisitor, Model, 0>::run(model, q, angles, dq, ddq, fext, torques);
  }

  template <typename, int i>
  struct DftVisitor {
    using Whole = typename rnea<Model, after_jcalc>::template DftVisitor<Model, i>;

    template <typename Number, typename Angles, typename Forces>
    static void discover(Model& model, const Number* q, const Angles& angles, const Number* dq, const Number* ddq,
                         const Forces& fext, Number* torques) noexcept {
      internal::JcalcVisitor<Model, i>::discover(model, q, angles, dq);
      Whole::discover(model, ddq, fext, torques);
    }

    template <typename Number, typename Angles, typename Forces>
    static void finish(Model& model, const Number*, const Angles&, const Number*, const Number* ddq, const Forces& fext,
                       Number* torques) noexcept {
      Whole::finish(model, ddq, fext, torques);
    }
  };
};

}  // namespace metapod
