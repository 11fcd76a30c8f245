#pragma once

/// Numbers of a block of states, from and to the caller's arrays: states in the lanes of packs, one pack for each
/// number. States side by side are taken as they stand, numbers side by side by transposing four by four, all else one
/// by one.

#include <algorithm>
#include <utility>

#include "batch/kernels/entries.h"
#include "metapod/spatial/pack.h"
#include "metapod/spatial/unrolled.h"

namespace korvel::batch {

using metapod::Spatial::PackOf;
using metapod::Spatial::unrolled;

/// As many consecutive states of one tile as there are lanes. Beyond the last state it is repeated.
template <int n>
struct Block {
  std::ptrdiff_t first;
  std::ptrdiff_t count;  ///< of states, at most n

  bool is_full() const noexcept { return count == n; }
  /// Returns the place in the block of the state in a lane.
  std::ptrdiff_t place_of(int lane) const noexcept { return std::min<std::ptrdiff_t>(lane, count - 1); }
};

/// work(block) for all blocks of a stretch.
template <int n, typename Work>
void for_each_block(const Stretch& states, const Work& work) noexcept {
  for (std::ptrdiff_t first = states.first; first < states.last; first += n) {
    work(Block<n>{first, std::min<std::ptrdiff_t>(n, states.last - first)});
  }
}

/// Returns four numbers of every fourth row from row i on.
template <int n>
PackOf<n> every_fourth_row(const float* numbers, std::ptrdiff_t row, int i) noexcept {
  if constexpr (n == 4) {
    return metapod::Spatial::load(numbers + i * row);
  } else {
    return metapod::Spatial::joined(every_fourth_row<n / 2>(numbers, row, i),
                                    every_fourth_row<n / 2>(numbers, row, i + n / 2));
  }
}

/// The first `count` numbers, at least four.
template <int n, int count>
[[gnu::noinline]] void read_numbers(const Input& input, const Block<n>& block, PackOf<n>* numbers) noexcept {
  static_assert(count >= 4);
  const float* const from = input.of_state(block.first);
  if (block.is_full() && input.state == 1) {
    for (int k = 0; k < count; ++k) numbers[k] = metapod::Spatial::load<n>(from + k * input.number);
  } else if (block.is_full() && input.number == 1) {
    // The last four overlap with those before if the count is no multiple.
    for (int four = 0; four < (count + 3) / 4; ++four) {
      const int k = std::min(4 * four, count - 4);
      PackOf<n> packs[4];
      unrolled<4>([&](auto i) { packs[i] = every_fourth_row<n>(from + k, input.state, i); });
      metapod::Spatial::transpose(packs[0], packs[1], packs[2], packs[3]);
      unrolled<4>([&](auto i) { numbers[k + static_cast<int>(i)] = packs[i]; });
    }
  } else {
    for (int lane = 0; lane < n; ++lane) {
      const float* const of_state = from + block.place_of(lane) * input.state;
      for (int k = 0; k < count; ++k) numbers[k].v[lane] = of_state[k * input.number];
    }
  }
}

/// pack_of(k) for `count` numbers from number `first` on.
template <int n, typename PackAt>
void write_packs(const Output& output, const Block<n>& block, std::ptrdiff_t first, int count,
                 const PackAt& pack_of) noexcept {
  // The compiler would read the strides of the caller again after every store of a pack.
  const std::ptrdiff_t state = output.state;
  const std::ptrdiff_t number = output.number;
  float* const to = output.of_state(block.first) + first * number;
  if (block.is_full() && state == 1) {
    for (int k = 0; k < count; ++k) metapod::Spatial::store(to + k * number, pack_of(k));
  } else if (block.is_full() && number == 1 && count >= 4) {
    for (int four = 0; four < (count + 3) / 4; ++four) {
      const int k = std::min(4 * four, count - 4);
      PackOf<n> packs[4];
      unrolled<4>([&](auto i) { packs[i] = pack_of(k + static_cast<int>(i)); });
      metapod::Spatial::transpose(packs[0], packs[1], packs[2], packs[3]);
      unrolled<4>([&](auto i) {
        float numbers[std::size_t{n}];
        metapod::Spatial::store(numbers, packs[i]);
        for (int lane = 0; lane < n; lane += 4) {
          float* const of_state = to + (static_cast<int>(i) + lane) * state;
          metapod::Spatial::store(of_state + k, metapod::Spatial::load(numbers + lane));
        }
      });
    }
  } else {
    for (int lane = 0; lane < block.count; ++lane) {
      float* const of_state = to + lane * state;
      for (int k = 0; k < count; ++k) of_state[k * number] = pack_of(k).v[lane];
    }
  }
}

template <int n>
[[gnu::noinline]] void write_numbers(const Output& output, const Block<n>& block, std::ptrdiff_t first, int count,
                                     const PackOf<n>* numbers) noexcept {
  if (output.data == nullptr) return;
  write_packs(output, block, first, count, [numbers](int k) -> const PackOf<n>& { return numbers[k]; });
}

/// Writes packs from number `first` on.
template <int n, typename... Packs>
void write(const Output& output, const Block<n>& block, std::ptrdiff_t first, const Packs&... packs) noexcept {
  const PackOf<n> numbers[]{packs...};
  write_numbers<n>(output, block, first, sizeof...(packs), numbers);
}

/// The entries of a matrix: those that are kept, and all of them, with a zero behind those that are kept.
template <int n>
[[gnu::noinline]] void write_entries(const Output& packed, const Output& dense, const Block<n>& block,
                                     const PackOf<n>* entries, const EntryPlaces& places) noexcept {
  write_numbers<n>(packed, block, 0, places.count, entries);
  if (dense.data == nullptr) return;
  write_packs(dense, block, 0, matrix_numbers,
              [entries, of_entry = places.of_entry](int k) -> const PackOf<n>& { return entries[of_entry[k]]; });
}

}  // namespace korvel::batch
