#pragma once

/// The robot for the algorithms, with one state in each lane.

#include "batch/kernels/numbers_in_lanes.h"
#include "metapod/algos/gather_scatter.h"
#include "metapod/models/model.h"

namespace korvel::batch {

/// Inertias are those of an object of the library, put into every lane where they are used.
template <int n>
class StatesInLanes
    : public metapod::models::Tree<metapod::models::KorvelRobot,
                                   metapod::models::OneBodyPerNode<metapod::models::KorvelRobot, PackOf<n>>> {
 public:
  using Steps = metapod::Spatial::StepsInlined;

  explicit StatesInLanes(const Masses& masses) noexcept : masses_(masses) {}

  template <int id>
  auto inertia() const noexcept {
    return metapod::to_child<PackOf<n>>(masses_.of_body[id].inertia);
  }
  /// The inertia of a node's one body, for what puts it into lanes itself.
  template <int id>
  const metapod::Spatial::Inertia& body_inertia() const noexcept {
    return masses_.of_body[id].inertia;
  }
  template <int id>
  auto center_of_mass() const noexcept {
    return metapod::to_child<PackOf<n>>(masses_.of_body[id].center_of_mass);
  }

 private:
  const Masses& masses_;
};

/// Sines and cosines of all angles among the coordinates.
template <int n>
class SinesOf {
 public:
  void take(const PackOf<n>* q) noexcept {
    take_sines<n>(reinterpret_cast<const float*>(q + first_angle), reinterpret_cast<float*>(sines_ + first_angle),
                  reinterpret_cast<float*>(cosines_ + first_angle));
  }

  template <typename Node>
  typename Node::Joint::Positions of(const PackOf<n>* q) const noexcept {
    using metapod::internal::gather_coordinates;
    return {gather_coordinates<Node>(q), gather_coordinates<Node>(sines_), gather_coordinates<Node>(cosines_)};
  }

 private:
  PackOf<n> sines_[coordinate_count];
  PackOf<n> cosines_[coordinate_count];
};

}  // namespace korvel::batch
