#pragma once

#include <cstring>

#include "batch/kernels/states_in_lanes.h"
#include "metapod/algos/rnea.h"

namespace korvel::batch {

/// Holds a force on each body, in the frame of the body.
template <int n>
struct ForcesInLanes {
  template <int id>
  const metapod::Spatial::ForceT<PackOf<n>>& on() const noexcept {
    return of_body[id];
  }

  metapod::Spatial::ForceT<PackOf<n>> of_body[body_count]{};
};

/// Adds up the states of a stretch separately for each place in a tile, so that sums do not depend on the number of
/// lanes.
struct ForceSums {
  /// These are bits of magnitudes, which are ordered like the magnitudes, with NaN above all.
  std::uint32_t largest[coordinate_count][tile_size];
  double squares[coordinate_count][tile_size];
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
    for (std::ptrdiff_t lane = 0; lane < block.count; ++lane) {
      largest[lane] = std::max(largest[lane], bits[lane] & 0x7fffffffU);
      const auto force = static_cast<double>(of_lane[lane]);
      squares[lane] = squares[lane] + force * force;
    }
  }
}

/// Returns the sums over all places.
template <int n>
korvel_batch_force_sums folded(const ForceSums& sums) noexcept {
  korvel_batch_force_sums result{};
  for (int d = 0; d < coordinate_count; ++d) {
    std::uint32_t largest = 0;
    for (int place = 0; place < tile_size; ++place) {
      largest = std::max(largest, sums.largest[d][place]);
      result.squares[d] += sums.squares[d][place];
    }
    std::memcpy(&result.largest[d], &largest, sizeof largest);
  }
  return result;
}

/// The motion of a block of states, with sines and external forces.
template <int n>
struct MotionInLanes {
  void take(const Block<n>& block, const MotionInput& given) noexcept {
    const auto read = [&block](const Input& input, PackOf<n>* numbers) {
      if (input.data != nullptr) return read_numbers<n, coordinate_count>(input, block, numbers);
      std::fill_n(numbers, coordinate_count, PackOf<n>{});
    };
    read(given.q, q);
    read(given.dq, dq);
    read(given.ddq, ddq);
    for (int i = 0; i < given.wrench_count; ++i) {
      PackOf<n> w[6];
      read_numbers<n, 6>(given.wrenches[i].values, block, w);
      external.of_body[given.wrenches[i].body] = {{w[3], w[4], w[5]}, {w[0], w[1], w[2]}};
    }
    angles.take(q);
  }

  PackOf<n> q[coordinate_count], dq[coordinate_count], ddq[coordinate_count];
  SinesOf<n> angles;
  ForcesInLanes<n> external;  ///< zero on bodies without a wrench
};

/// work(block, motion) for all blocks of a stretch.
template <int n, typename Work>
void for_each_motion(const Stretch& states, const MotionInput& given, const Work& work) noexcept {
  MotionInLanes<n> motion;
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
  ForceSums sums{};
  for_each_motion<n>(states, given, [&](const auto& block, const auto& motion) {
    compute_dynamics<n>(masses, motion, forces);
    write_numbers<n>(wanted.forces, block, 0, coordinate_count, forces);
    if (wanted.sums != nullptr) add<n>(block, forces, sums);
  });
  if (wanted.sums != nullptr) *wanted.sums = folded<n>(sums);
}

}  // namespace korvel::batch
