#pragma once

#include <cstddef>
#include <utility>

#include "metapod/algos/body_motion.h"
#include "metapod/spatial/velocity_product.h"

namespace metapod {

/// Derivatives of the generalized forces of a motion by positions and by velocities, with the forces of `rnea`.
///
/// Everything is in the frame of the body that it belongs to. Subtrees are composites with inertia I, velocity product
/// C and force f. Column i is how the forces of all bodies change with coordinate i, seen from the joints above it:
///   by q_i     G = C dS_i + I aS_i + S_i x* f      dS = v x S,  aS = a x S + v x dS
///   by dq_i    H = C S_i + 2 I dS_i
///   by ddq_i   U = I S_i
/// For a joint j at i or above it the rows S_j G and S_j H are the derivatives of force j by coordinate i, and
///   of force i by q_j    S_i C dS_j + U aS_j
///   of force i by dq_j   S_i C S_j + 2 U dS_j
///
/// By the root's coordinates the derivatives are those along its own axes: of a root that moves along them (which
/// changes no force) and turns about them.
///
/// Frames  node quantities in the node's own frame
/// Shapes  results of all pairs of coordinates of which one carries the other
/// Reads   motion.q with its sines and cosines motion.angles, motion.dq, motion.ddq, motion.external, the inertias
/// Writes  results.force(d), results.row(d).position(c) and .velocity(c) of force d and coordinate c; not by the root's
///         positions 0 to 2, and velocities 0 to 2 in front of 3. In a row the root's columns are neighbours; in the
///         root's rows all columns are, and the rows are at the same distance
/// Source  J. Carpentier, N. Mansard, Analytical Derivatives of Rigid Body Dynamics Algorithms, 2018; S. Singh,
///         R. Russell, P. Wensing, Efficient Analytical Derivatives of Rigid-Body Dynamics using Spatial Vector
///         Algebra, 2022
template <typename Model, typename Results>
struct rnea_derivatives {
  using Row = decltype(std::declval<Results&>().row(0));
  using Scalar = typename NodeOf<Model, 0>::Scalar;

  template <typename Motion>
  static void run(const Model& model, const Motion& motion, Results& results) noexcept {
    internal::World world;
    Columns columns;
    columns.end = columns.all;
    internal::depth_first_traversal_with_records<DftVisitor, Model, 0>::run(model, world, motion, columns, results);
  }

  /// The quantities that belong to the coordinate of one joint. U, G and H are forces on the body that the walk to the
  /// root has reached, SC the angular part of S^T C in its frame.
  struct Column {
    Spatial::ForceT<Scalar> U, G, H;
    Spatial::Vector3T<Scalar> SC;
    int coordinate;
    Row row;  ///< of the results for the force of the same coordinate
  };

  /// The columns of the subtrees that are not finished, each subtree's at the end, and what they meet at the root.
  struct Columns {
    Column all[Model::node_count];
    Column* end;
    Spatial::Vector3T<Scalar> g;  ///< gravity turned around, in root axes
  };

  /// A body, and after its children were finished the subtree that it carries.
  struct Body : internal::BodyMotion<Scalar> {
    internal::RoomFor<Spatial::InertiaT<Scalar>> I;
    Spatial::VelocityProductT<Scalar> C;
    decltype(cross(Spatial::MotionT<Scalar>{}, Spatial::ConstraintMotionAboutZT<Scalar>{})) dS;
    Spatial::MotionT<Scalar> aS;
    Column* first;  ///< of the subtree's columns
    int coordinate;
  };

  template <typename, int i>
  struct DftVisitor {
    using Node = NodeOf<Model, i>;
    static constexpr bool is_root = Node::parent == models::no_parent;

    using Record = internal::RecordOf<Node, Body>;

    template <typename Parent, typename Motion>
    static void discover(const Model& model, Parent& parent, Record& own, const Motion& motion, Columns& columns,
                         Results&) noexcept {
      own.first = columns.end;
      own.coordinate = Node::dof_index;
      internal::place<Node>(own, parent, motion);
      if constexpr (is_root) put_in(columns.g, (own.iXp.value * to_child<Scalar>(minus_g)).v);
      put_in(own.I.value, model.template inertia<i>());
      load(motion.external.template on<i>(), own);
    }

    template <typename Parent, typename Motion>
    static void finish(const Model&, Parent& parent, Record& own, const Motion&, Columns& columns,
                       Results& results) noexcept {
      if constexpr (is_root) {
        write_root(own, columns.g, results);
      } else {
        begin_column(own, *columns.end++, results);
        add_subtree(own.iXp.value, own, parent);
        carry(own.iXp.value, own.first, columns.end);
        if constexpr (NodeOf<Model, Node::parent>::parent == models::no_parent) {
          write_pairs_with_root(parent, columns.g, own.first, columns.end, results);
          columns.end = own.first;
        } else {
          write_pairs(parent, own.first, columns.end, results);
        }
      }
    }
  };

  // ---- Steps, which many nodes share: called, because inlined they would be 200 KB of code --------------------------

  /// Force on the body, velocity product, and how its joint's axis moves.
  [[gnu::noinline, gnu::flatten]] static void load(const Spatial::ForceT<Scalar>& external, Body& own) noexcept {
    const auto& v = own.v;
    const auto& a = own.a;
    const auto& I = own.I.value;
    const auto Iv = I * v;
    put_in(own.f, I * a + cross(v, Iv) - external);
    put_in(own.C, Spatial::VelocityProductT<Scalar>(I, v, Iv.f));
    const auto dS = cross(v, S);
    put_in(own.dS, dS);
    put_in(own.aS, cross(a, S) + cross(v, dS));
  }

  /// The column of the body's own joint, and the pair that it is with itself.
  [[gnu::noinline, gnu::flatten]] static void begin_column(const Body& own, Column& column, Results& results) noexcept {
    put_in(column.U, (own.I.value * S)[0]);
    put_in(column.SC, S.transpose() * own.C);
    put_in(column.G, own.C * own.dS + own.I.value * own.aS + cross(S, own.f));
    const Scalar two(2);
    const auto doubled = map([&](const auto& x) { return two * x; }, own.dS);
    put_in(column.H, own.C * S + own.I.value * doubled);
    const int i = own.coordinate;
    column.coordinate = i;
    column.row = results.row(i);
    results.force(i) = own.f.n.z;
    column.row.position(i) = column.G.n.z;
    column.row.velocity(i) = column.H.n.z;
  }

  template <typename Transform>
  [[gnu::noinline, gnu::flatten]] static void add_subtree(const Transform& iXp, const Body& own,
                                                          Body& parent) noexcept {
    put_in(parent.f, parent.f + iXp.applyInv(own.f));
    put_in(parent.I.value, parent.I.value + iXp.applyInv(own.I.value));
    put_in(parent.C, parent.C + applyInv(iXp, own.C));
  }

  template <typename Transform>
  [[gnu::noinline, gnu::flatten]] static void carry(const Transform& iXp, Column* first, const Column* end) noexcept {
    // The vectors are stored one by one, because g++ would first assemble a whole force in memory.
    const auto carry_force = [&iXp](Spatial::ForceT<Scalar>& force) {
      const auto f = iXp.E.applyTransposed(force.f);
      put_in(force.n, iXp.E.applyTransposed(force.n) + cross(iXp.r, f));
      put_in(force.f, f);
    };
    for (; first != end; ++first) {
      carry_force(first->U);
      carry_force(first->G);
      carry_force(first->H);
      put_in(first->SC, iXp.E.applyTransposed(first->SC));
    }
  }

  /// Writes the entries of the joint j that carries a body with the joints of the columns.
  [[gnu::noinline, gnu::flatten]] static void write_pairs(const Body& body, const Column* first, const Column* end,
                                                          Results& results) noexcept {
    const int j = body.coordinate;
    const Row row = results.row(j);
    decltype(body.dS) dS;
    put_in(dS, body.dS);
    Spatial::MotionT<Scalar> aS;
    put_in(aS, body.aS);
    const Scalar two(2);
    for (; first != end; ++first) {
      const Column& column = *first;
      const auto& U = column.U;
      row.position(column.coordinate) = column.G.n.z;
      row.velocity(column.coordinate) = column.H.n.z;
      column.row.position(j) = dot(column.SC, dS.w) + dot(aS, U);
      column.row.velocity(j) = column.SC.z + two * dot(dS, U);
    }
  }

  /// The same with the root's own motion; g in its axes.
  [[gnu::noinline, gnu::flatten]] static void write_pairs_with_root(const Body& root,
                                                                    const Spatial::Vector3T<Scalar>& g,
                                                                    const Column* first, const Column* end,
                                                                    Results& results) noexcept {
    const auto& [w, v] = root.v;
    const RootRows position_rows(results.row(0).position(3), results.row(1).position(3));
    const RootRows velocity_rows(results.row(0).velocity(3), results.row(1).velocity(3));
    for (; first != end; ++first) {
      const Column& column = *first;
      const auto& U = column.U;
      position_rows.write(column.G, column.coordinate);
      velocity_rows.write(column.H, column.coordinate);
      Scalar* position = &column.row.position(3);
      Scalar* velocity = &column.row.velocity(3) - 3;
      internal::write_vector(cross(U.f, g), position);
      internal::write_vector(cross(U.f, w), velocity);
      internal::write_vector(column.SC + cross(U.n, w) + cross(U.f, v), velocity + 3);
    }
  }

  /// The force on the root and its derivatives by the root's own motion.
  [[gnu::noinline, gnu::flatten]] static void write_root(const Body& root, const Spatial::Vector3T<Scalar>& g,
                                                         Results& results) noexcept {
    const auto& w = root.v.w;
    const auto& v = root.v.v;
    const RootRows position_rows(results.row(0).position(3), results.row(1).position(3));
    const RootRows velocity_rows(results.row(0).velocity(3), results.row(1).velocity(3));
    internal::write_vector(root.f.f, &results.force(0));
    internal::write_vector(root.f.n, &results.force(3));
    Spatial::unrolled<3>([&](auto k) {
      constexpr int axis = static_cast<int>(decltype(k)::value);
      const auto w_e = column<axis>(cross_matrix(w));
      position_rows.write(root.I.value * Spatial::MotionOf{Spatial::ZeroVector{}, column<axis>(cross_matrix(g))},
                          3 + axis);
      velocity_rows.write(root.I.value * Spatial::MotionOf{Spatial::ZeroVector{}, w_e}, axis);
      const Spatial::ForceT<Scalar> C_e{column<axis>(root.C.T),
                                        Spatial::dense<Scalar>(column<axis>(cross_matrix(root.C.Q)))};
      velocity_rows.write(C_e + root.I.value * Spatial::MotionOf{w_e, column<axis>(cross_matrix(v))}, 3 + axis);
    });
  }

 private:
  static constexpr Spatial::ConstraintMotionAboutZT<Scalar> S{};

  /// The root's six rows of a matrix, of which the first two are given by their entries in column 3.
  struct RootRows {
    RootRows(Scalar& row0, Scalar& row1) noexcept : in_column_3(&row0), distance(&row1 - &row0) {}

    void write(const Spatial::ForceT<Scalar>& force, int column) const noexcept {
      Scalar* to = in_column_3 + (column - 3);
      internal::write_vector(force.f, to, distance);
      internal::write_vector(force.n, to + 3 * distance, distance);
    }

    Scalar* in_column_3;
    std::ptrdiff_t distance;
  };

  /// [x]x, whose columns are x times the unit vectors.
  static auto cross_matrix(const Spatial::Vector3T<Scalar>& x) noexcept {
    using Spatial::VectorOf;
    using Spatial::Zero;
    return Spatial::MatrixOf{VectorOf{Zero{}, x.z, -x.y}, VectorOf{-x.z, Zero{}, x.x}, VectorOf{x.y, -x.x, Zero{}}};
  }

  template <int k, typename Matrix>
  static constexpr auto column(const Matrix& M) noexcept {
    if constexpr (k == 0) {
      return M.column0;
    } else if constexpr (k == 1) {
      return M.column1;
    } else {
      return M.column2;
    }
  }
};

}  // namespace metapod
