#pragma once

#include "metapod/algos/body_motion.h"
#include "metapod/spatial/velocity_product.h"

namespace metapod {

/// The gradient of a weighted sum of the generalized forces of a motion, by positions, velocities and accelerations,
/// with the forces of `rnea`. It is weights times the matrices of `rnea_derivatives`, which are never formed.
///
/// The weights l are rates of a motion x, by which bodies are seen: x_i = iXp x_p + S l_i. Composites over the subtree
/// of i are the force f, y = sum of I x and z, the angular part of sum of C^T x. With dS and aS as there,
///   by q_i    f (x_i x S_i) + z dS_i + y aS_i
///   by dq_i   z S_i + 2 y dS_i
///   by ddq_i  y S_i
///
/// Frames  node quantities in the node's own frame; the root's coordinates as for `rnea_derivatives`
/// Shapes  weights and all results one number for each coordinate
/// Reads   the motion as `rnea_derivatives` does, the inertias
/// Writes  all of results.forces, by_position, by_velocity, by_acceleration
/// Source  the sources of `rnea_derivatives`, transposed
template <typename Model>
struct rnea_gradient {
  using Scalar = typename NodeOf<Model, 0>::Scalar;
  using Number = typename NodeOf<Model, 0>::Number;

  struct Results {
    Number* forces;
    Number* by_position;
    Number* by_velocity;
    Number* by_acceleration;
  };

  template <typename Motion>
  static void run(const Model& model, const Motion& motion, const Number* weights, const Results& results) noexcept {
    internal::World world;
    internal::depth_first_traversal_with_records<DftVisitor, Model, 0>::run(model, world, motion, weights, results);
  }

  struct Body : internal::BodyMotion<Scalar> {
    Spatial::MotionT<Scalar> x;
    Spatial::ForceT<Scalar> y;
    Spatial::Vector3T<Scalar> z;
  };

  template <typename, int i>
  struct DftVisitor {
    using Node = NodeOf<Model, i>;
    static constexpr bool is_root = Node::parent == models::no_parent;

    using Record = internal::RecordOf<Node, Body>;

    template <typename Parent, typename Motion>
    static void discover(const Model& model, Parent& parent, Record& own, const Motion& motion, const Number* weights,
                         const Results&) noexcept {
      internal::place<Node>(own, parent, motion);
      const auto x = typename Node::Joint{}.S * internal::gather_coordinates<Node>(weights);
      if constexpr (is_root) {
        put_in(own.x, x);
      } else {
        put_in(own.x, own.iXp.value * parent.x + x);
      }
      load(model.template body_inertia<i>(), motion.external.template on<i>(), own);
    }

    template <typename Parent, typename Motion>
    static void finish(const Model&, Parent& parent, Record& own, const Motion&, const Number*,
                       const Results& results) noexcept {
      if constexpr (is_root) {
        write_root(own, Spatial::MotionT<Scalar>(own.iXp.value * to_child<Scalar>(minus_g)).v, results);
      } else {
        write(own, Node::dof_index, results);
        add_subtree(own.iXp.value, own, parent);
      }
    }
  };

  // ---- Steps, which many nodes share -------------------------------------------------------------------------------

  [[gnu::noinline, gnu::flatten]] static void load(const Spatial::Inertia& inertia,
                                                   const Spatial::ForceT<Scalar>& external, Body& own) noexcept {
    const auto& [w, v] = own.v;
    const auto& [x_w, x_v] = own.x;
    const Scalar two(2);
    const auto I = to_child<Scalar>(inertia);
    const auto Iv = I * own.v;
    put_in(own.f, I * own.a + cross(own.v, Iv) - external);
    put_in(own.y, I * own.x);
    // C^T x: N (x_w x w) - 2 v x (h x x_w) - 2 x_v x I v, with N = 2 I - tr(I) 1.
    const auto turn = cross(x_w, w);
    const Scalar trace = I.I.xx + I.I.yy + I.I.zz;
    const auto half = lowerTriangularToSymmetric(I.I) * turn - cross(v, cross(I.h, x_w)) - cross(x_v, Iv.f);
    put_in(own.z, two * half - trace * turn);
  }

  [[gnu::noinline, gnu::flatten]] static void write(const Body& own, int coordinate, const Results& results) noexcept {
    const Scalar two(2);
    const auto dS = cross(own.v, S);
    const auto aS = cross(own.a, S) + cross(own.v, dS);
    results.forces[coordinate] = own.f.n.z;
    results.by_position[coordinate] = dot(cross(own.x, S), own.f) + dot(own.z, dS.w) + dot(aS, own.y);
    results.by_velocity[coordinate] = own.z.z + two * dot(dS, own.y);
    results.by_acceleration[coordinate] = own.y.n.z;
  }

  template <typename Transform>
  [[gnu::noinline, gnu::flatten]] static void add_subtree(const Transform& iXp, const Body& own,
                                                          Body& parent) noexcept {
    put_in(parent.f, parent.f + iXp.applyInv(own.f));
    put_in(parent.y, parent.y + iXp.applyInv(own.y));
    put_in(parent.z, parent.z + iXp.E.applyTransposed(own.z));
  }

  [[gnu::noinline, gnu::flatten]] static void write_root(const Body& root, const Spatial::Vector3T<Scalar>& g,
                                                         const Results& results) noexcept {
    const auto& [w, v] = root.v;
    const auto& y = root.y;
    write_vectors({}, cross(y.f, g), results.by_position);
    write_vectors(root.f.f, root.f.n, results.forces);
    write_vectors(cross(y.f, w), root.z + cross(y.n, w) + cross(y.f, v), results.by_velocity);
    write_vectors(y.f, y.n, results.by_acceleration);
  }

 private:
  static constexpr Spatial::ConstraintMotionAboutZT<Scalar> S{};

  static void write_vectors(const Spatial::Vector3T<Scalar>& linear, const Spatial::Vector3T<Scalar>& angular,
                            Number* to) noexcept {
    internal::write_vector(linear, to);
    internal::write_vector(angular, to + 3);
  }
};

}  // namespace metapod
