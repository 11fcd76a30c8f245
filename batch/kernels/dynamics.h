#pragma once

#include <cstring>

#include "batch/kernels/states_in_lanes.h"
#include "metapod/algos/rnea.h"

namespace korvel::batch {

/// External forces on all bodies; zero on those without a wrench.
template <int n>
class ForcesInLanes {
 public:
  explicit ForcesInLanes(const Wrenches& wrenches) noexcept : wrenches_(wrenches) {
    for (auto& of_body : values_) {
      for (PackOf<n>& value : of_body) value = PackOf<n>{};
    }
  }

  void take(const Block<n>& block) noexcept {
    for (int i = 0; i < wrenches_.count; ++i) {
      const Wrench& wrench = wrenches_.first[i];
      read_numbers<n, 6>(wrench.values, block, values_[wrench.body]);
    }
  }

  template <int id>
  metapod::Spatial::ForceT<PackOf<n>> on() const noexcept {
    const auto& w = values_[id];
    return {{w[3], w[4], w[5]}, {w[0], w[1], w[2]}};
  }

 private:
  Wrenches wrenches_;
  PackOf<n> values_[body_count][6];
};

template <int n>
void add(const Block<n>& block, const PackOf<n>* forces, ForceSums& sums) noexcept {
  const std::ptrdiff_t place = block.first % tile_size;
  for (int d = 0; d < coordinate_count; ++d) {
    float of_lane[std::size_t{n}];
    std::uint32_t bits[std::size_t{n}];
    metapod::Spatial::store(of_lane, forces[d]);
    std::memcpy(bits, of_lane, sizeof bits);
    std::uint32_t* largest = sums.largest[d] + place;
    double* squares = sums.squares[d] + place;
    const auto add_lane = [&](std::ptrdiff_t lane) {
      largest[lane] = std::max(largest[lane], bits[lane] & 0x7fffffffU);
      const auto force = static_cast<double>(of_lane[lane]);
      squares[lane] = squares[lane] + force * force;
    };
    if (block.is_full()) {
      for (std::ptrdiff_t lane = 0; lane < n; ++lane) add_lane(lane);
    } else {
      for (std::ptrdiff_t lane = 0; lane < block.count; ++lane) add_lane(lane);
    }
  }
}

template <int n>
[[gnu::flatten]] void compute_dynamics(const Masses& masses, const PackOf<n>* q, const SinesOf<n>& angles,
                                       const PackOf<n>* dq, const PackOf<n>* ddq, const ForcesInLanes<n>& external,
                                       PackOf<n>* forces) noexcept {
  StatesInLanes<n> model(masses);
  metapod::rnea<StatesInLanes<n>, true>::run(model, q, angles, dq, ddq, external, forces);
}

template <int n>
void dynamics(const Masses& masses, const Stretch& states, const Input& q, const Input& dq, const Input& ddq,
              const Wrenches& wrenches, const Output& forces, ForceSums* sums) noexcept {
  ForcesInLanes<n> external(wrenches);
  PackOf<n> positions[coordinate_count];
  PackOf<n> velocities[coordinate_count];
  PackOf<n> accelerations[coordinate_count];
  PackOf<n> results[coordinate_count];
  SinesOf<n> angles;
  for_each_block<n>(states, [&](const auto& block) {
    read_numbers<n, coordinate_count>(q, block, positions);
    read_numbers<n, coordinate_count>(dq, block, velocities);
    read_numbers<n, coordinate_count>(ddq, block, accelerations);
    external.take(block);
    angles.take(positions);
    compute_dynamics<n>(masses, positions, angles, velocities, accelerations, external, results);
    if (forces.data != nullptr) write_numbers<n>(forces, block, 0, coordinate_count, results);
    if (sums != nullptr) add<n>(block, results, *sums);
  });
}

}  // namespace korvel::batch
