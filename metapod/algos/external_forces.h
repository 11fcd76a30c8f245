#pragma once

#include "metapod/algos/coordinates.h"

namespace metapod {

template <typename Node>
using ExternalForceOf = Spatial::ForceT<typename Node::Scalar>;

/// External forces on all bodies, each in the frame of its body and about its origin. They stand node by node, so that
/// what is set now and then is not put together in every computation.
template <typename Model>
class ExternalForces {
 public:
  void set(int body, const Spatial::Force& force) noexcept {
    set_on_nodes(body, force, std::make_integer_sequence<int, Model::node_count>{});
  }

  /// On the bodies of node i.
  template <int i>
  const auto& on() const noexcept {
    return at<i>(forces_);
  }

 private:
  template <int... i>
  void set_on_nodes(int body, const Spatial::Force& force, std::integer_sequence<int, i...>) noexcept {
    (set_on<i>(body, force), ...);
  }

  template <int i>
  void set_on(int body, const Spatial::Force& force) noexcept {
    using internal::set_lane;
    auto& [n, f] = at<i>(forces_);
    for_each_body<NodeOf<Model, i>>([&](int b, int lane) {
      if (b != body) return;
      set_lane(n.x, lane, force.n.x), set_lane(n.y, lane, force.n.y), set_lane(n.z, lane, force.n.z);
      set_lane(f.x, lane, force.f.x), set_lane(f.y, lane, force.f.y), set_lane(f.z, lane, force.f.z);
    });
  }

  typename Model::template PerNode<ExternalForceOf> forces_{};
};

}  // namespace metapod
