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
    for (auto& of_body : values_) of_body = {};
  }

  void take(const Block<n>& block) noexcept {
    for (int i = 0; i < wrenches_.count; ++i) {
      const Wrench& wrench = wrenches_.first[i];
      PackOf<n> w[6];
      read_numbers<n, 6>(wrench.values, block, w);
      values_[wrench.body] = {{w[3], w[4], w[5]}, {w[0], w[1], w[2]}};
    }
  }

  template <int id>
  const metapod::Spatial::ForceT<PackOf<n>>& on() const noexcept {
    return values_[id];
  }

 private:
  Wrenches wrenches_;
  metapod::Spatial::ForceT<PackOf<n>> values_[body_count];
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

/// The motion of a block of states, with sines and external forces.
template <int n>
struct MotionInLanes {
  explicit MotionInLanes(const Wrenches& wrenches) noexcept : external(wrenches) {}

  void take(const Block<n>& block, const MotionInput& given) noexcept {
    const auto read = [&block](const Input& input, PackOf<n>* numbers) {
      if (input.data != nullptr) return read_numbers<n, coordinate_count>(input, block, numbers);
      std::fill_n(numbers, coordinate_count, PackOf<n>{});
    };
    read(given.q, q);
    read(given.dq, dq);
    read(given.ddq, ddq);
    external.take(block);
    angles.take(q);
  }

  PackOf<n> q[coordinate_count], dq[coordinate_count], ddq[coordinate_count];
  SinesOf<n> angles;
  ForcesInLanes<n> external;
};

/// work(block, motion) for all blocks of a stretch.
template <int n, typename Work>
void for_each_motion(const Stretch& states, const MotionInput& given, const Work& work) noexcept {
  MotionInLanes<n> motion(given.wrenches);
  for_each_block<n>(states, [&](const auto& block) {
    motion.take(block, given);
    work(block, motion);
  });
}

template <int n>
[[gnu::flatten]] void run_rnea(const Masses& masses, const MotionInLanes<n>& motion, PackOf<n>* forces) noexcept {
  StatesInLanes<n> model(masses);
  metapod::rnea<StatesInLanes<n>, metapod::with_jcalc>::run(model, motion.q, motion.angles, motion.dq, motion.ddq,
                                                            motion.external, forces);
}

template <int n>
void compute_dynamics(const Masses& masses, const MotionInLanes<n>& motion, PackOf<n>* forces) noexcept {
  run_rnea<n>(masses, motion, forces);
  if (masses.armature == nullptr) return;
  for (int k = first_joint; k < coordinate_count; ++k) {
    forces[k] = forces[k] + PackOf<n>(masses.armature[k - first_joint]) * motion.ddq[k];
  }
}

template <int n>
void dynamics(const Masses& masses, const Stretch& states, const MotionInput& given,
              const DynamicsResults& wanted) noexcept {
  PackOf<n> forces[coordinate_count];
  for_each_motion<n>(states, given, [&](const auto& block, const auto& motion) {
    compute_dynamics<n>(masses, motion, forces);
    write_numbers<n>(wanted.forces, block, 0, coordinate_count, forces);
    if (wanted.sums != nullptr) add<n>(block, forces, *wanted.sums);
  });
}

}  // namespace korvel::batch
