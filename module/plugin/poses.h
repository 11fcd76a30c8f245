#pragma once

/// Poses of all bodies from their transforms from the root.

#include <array>
#include <cstddef>
#include <tuple>

#include "metapod/algos/first_moments.h"
#include "metapod/algos/traversal.h"
#include "plugin/conversions.h"

namespace tesk {

/// The poses of a node's bodies, to an array over bodies.
template <typename Node>
void scatter_poses(QZ::Math::Transform* poses, const PoseT<float>& pose) noexcept {
  store(poses[Node::bodies.body[0]], pose);
}

template <typename Node>
void scatter_poses(QZ::Math::Transform* poses, const PoseT<metapod::Spatial::Pack>& pose) noexcept {
  // The twelve floats of a pose are the rows of [R | t].
  const auto scatter_row = [&](std::ptrdiff_t row, const auto& R, const metapod::Spatial::Pack& t) {
    std::array<metapod::Spatial::Pack, 4> of_lane{R.x, R.y, R.z, t};
    metapod::Spatial::transpose(of_lane[0], of_lane[1], of_lane[2], of_lane[3]);
    metapod::for_each_body<Node>([&](int b, int lane) {
      metapod::Spatial::store(reinterpret_cast<float*>(poses + b) + 4 * row, of_lane[static_cast<std::size_t>(lane)]);
    });
  };
  scatter_row(0, pose.row0, pose.t.x);
  scatter_row(1, pose.row1, pose.t.y);
  scatter_row(2, pose.row2, pose.t.z);
}

/// One transform in both scalars.
class InBothScalars {
 public:
  explicit InBothScalars(const SpatialTransform& X) noexcept
      : transforms_(X, metapod::to_child<metapod::Spatial::Pack>(X)) {}

  template <typename Scalar>
  const GeneralTransformT<Scalar>& as() const noexcept {
    return std::get<GeneralTransformT<Scalar>>(transforms_);
  }

 private:
  std::tuple<GeneralTransformT<float>, GeneralTransformT<metapod::Spatial::Pack>> transforms_;
};

/// Poses of all bodies but the root, in the root.
template <typename Model>
struct poses_in_root {
  static void run(const metapod::RootToBody<Model>& iX1, QZ::Math::Transform* poses) noexcept {
    metapod::for_each_node_below_root<Model>(
        [&iX1, poses](auto i) { scatter_poses<metapod::NodeOf<Model, i>>(poses, inverse(metapod::at<i>(iX1))); });
  }
};

/// Poses of all bodies but the root, in the world.
template <typename Model>
struct poses_in_world {
  static void run(const metapod::RootToBody<Model>& iX1, const InBothScalars& world_to_root,
                  QZ::Math::Transform* poses) noexcept {
    metapod::for_each_node_below_root<Model>([&iX1, &world_to_root, poses](auto i) {
      using Node = metapod::NodeOf<Model, i>;
      scatter_poses<Node>(poses,
                          inverse_of_product(metapod::at<i>(iX1), world_to_root.template as<typename Node::Scalar>()));
    });
  }
};

}  // namespace tesk
