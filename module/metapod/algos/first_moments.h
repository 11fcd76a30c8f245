#pragma once

#include <array>

#include "metapod/algos/gather_scatter.h"
#include "metapod/algos/traversal.h"

namespace metapod {

/// The transform from the root to a node's body, and one for each node. The root's own is neither written nor read: it
/// stays zero.
template <typename Node>
using RootToBodyOf = Spatial::TransformT<Spatial::RotationMatrixT<typename Node::Scalar>>;
template <typename Model>
using RootToBody = typename Model::template PerNode<RootToBodyOf>;

/// First moments of mass of all bodies [kg m], root axes and root origin, and sums of them. Sums run over the bodies in
/// order, which fixes their last bits.
template <typename Model>
class FirstMoments {
  static constexpr std::size_t body_count = static_cast<std::size_t>(Model::body_count);

 public:
  /// put_below_root(of_bodies) puts there the moments of all bodies but the root.
  template <typename Function>
  void compute(const Model& model, const Function& put_below_root) noexcept {
    const internal::VectorsOverBodies of_bodies{of_bodies_.data()};
    of_bodies.template scatter<NodeOf<Model, 0>>(model.template inertia<0>().h);
    put_below_root(of_bodies);
    up_to_[0] = of_bodies_[0];
    Spatial::unrolled<body_count - 1>([&](auto b) { up_to_[b + 1] = up_to_[b] + of_bodies_[b + 1]; });
    version_ = Model::inertia_version();
  }

  /// Returns whether the moments belong to the present table of inertias.
  bool are_current() const noexcept { return version_ == Model::inertia_version(); }

  Spatial::Vector3 sum() const noexcept { return up_to_[body_count - 1].unpacked(); }

  /// The sum without one body, which is not the root.
  Spatial::Vector3 sum_without(std::size_t body) const noexcept {
    Spatial::PackedVector3 sum = up_to_[body - 1];
    for (std::size_t b = body + 1; b < body_count; ++b) sum = sum + of_bodies_[b];
    return sum.unpacked();
  }

 private:
  std::array<Spatial::PackedVector3, body_count> of_bodies_{};
  std::array<Spatial::PackedVector3, body_count> up_to_{};  ///< sum of those of a body and of all before it
  unsigned version_ = 0;
};

namespace internal {

/// The node's share of a partial centre of mass. Which body is left out is asked when the shares are added.
template <typename Model, int node_id>
struct PartialComVisitor {
  template <typename Moments>
  static void discover(const Model& model, const RootToBody<Model>& iX1, Moments& of_bodies) noexcept {
    const auto center_root = at<node_id>(iX1).apply_inv_to_point(model.template center_of_mass<node_id>());
    of_bodies.template scatter<NodeOf<Model, node_id>>(model.template inertia<node_id>().m * center_root);
  }
};

}  // namespace internal

/// First moments for the transforms that forward kinematics left.
template <typename Model>
struct first_moments {
  static void run(const Model& model, const RootToBody<Model>& iX1, FirstMoments<Model>& moments) noexcept {
    moments.compute(model, [&](const internal::VectorsOverBodies& of_bodies) {
      for_each_node_below_root<Model>(
          [&](auto i) { internal::PartialComVisitor<Model, i>::discover(model, iX1, of_bodies); });
    });
  }
};

}  // namespace metapod
