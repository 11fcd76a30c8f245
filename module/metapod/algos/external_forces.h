#pragma once

#include <utility>

#include "metapod/algos/gather_scatter.h"
#include "metapod/models/model.h"

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

  /// Returns the external forces on the bodies of node i.
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
    ExternalForceOf<NodeOf<Model, i>>& own = at<i>(forces_);
    for_each_body<NodeOf<Model, i>>([&](int b, int lane) {
      if (b != body) return;
      set_lane(own.n, lane, force.n);
      set_lane(own.f, lane, force.f);
    });
  }

  template <typename Vector>
  static void set_lane(Vector& own, int lane, const Spatial::Vector3& value) noexcept {
    internal::set_lane(own.x, lane, value.x);
    internal::set_lane(own.y, lane, value.y);
    internal::set_lane(own.z, lane, value.z);
  }

  typename Model::template PerNode<ExternalForceOf> forces_{};
};

}  // namespace metapod
