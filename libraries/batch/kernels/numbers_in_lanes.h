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

/// As many consecutive states as there are lanes. Beyond the last state it is repeated.
template <int n>
struct Block {
  std::ptrdiff_t first;
  std::ptrdiff_t count;  ///< of states, at most n

  bool is_full() const noexcept { return count == n; }
  std::ptrdiff_t state_in(int lane) const noexcept { return first + std::min<std::ptrdiff_t>(lane, count - 1); }
};

/// work(block) for all blocks of a stretch.
template <int n, typename Work>
void for_each_block(const Stretch& states, const Work& work) noexcept {
  for (std::ptrdiff_t first = states.first; first < states.last; first += n) {
    work(Block<n>{first, std::min<std::ptrdiff_t>(n, states.last - first)});
  }
}

/// The addresses at which the numbers of each lane's state begin.
template <int n, typename Float>
struct RowsOf {
  RowsOf(const NumbersOf<Float>& numbers, std::ptrdiff_t first) noexcept
      : begin(numbers.of_state(first)), state(numbers.state) {}

  Float* operator[](int lane) const noexcept { return begin + lane * state; }

  Float* begin;
  std::ptrdiff_t state;
};

/// Four numbers, from k on, of every fourth lane from lane i on.
template <int n, int lanes = n>
PackOf<n> every_fourth_row(const RowsOf<lanes, const float>& rows, int i, int k) noexcept {
  if constexpr (n == 4) {
    return metapod::Spatial::load(rows[i] + k);
  } else {
    return metapod::Spatial::joined(every_fourth_row<n / 2>(rows, i, k), every_fourth_row<n / 2>(rows, i + n / 2, k));
  }
}

/// The opposite.
template <int n>
void put_every_fourth_row(const RowsOf<n, float>& rows, int i, std::ptrdiff_t k, const PackOf<n>& pack) noexcept {
  float numbers[std::size_t{n}];
  metapod::Spatial::store(numbers, pack);
  for (int lane = 0; lane < n; lane += 4) {
    metapod::Spatial::store(rows[i + lane] + k, metapod::Spatial::load(numbers + lane));
  }
}

/// The first `count` numbers, at least four.
template <int n, int count>
[[gnu::noinline]] void read_numbers(const Input& input, const Block<n>& block, PackOf<n>* numbers) noexcept {
  static_assert(count >= 4);
  if (block.is_full() && input.state == 1) {
    const float* from = input.of_state(block.first);
    for (int k = 0; k < count; ++k) numbers[k] = metapod::Spatial::load<n>(from + k * input.number);
  } else if (block.is_full() && input.number == 1) {
    const RowsOf<n, const float> rows(input, block.first);
    // The last four overlap with those before if the count is no multiple.
    for (int four = 0; four < (count + 3) / 4; ++four) {
      const int k = std::min(4 * four, count - 4);
      PackOf<n> packs[4];
      unrolled<4>([&](auto i) { packs[i] = every_fourth_row<n>(rows, i, k); });
      metapod::Spatial::transpose(packs[0], packs[1], packs[2], packs[3]);
      unrolled<4>([&](auto i) { numbers[k + static_cast<int>(i)] = packs[i]; });
    }
  } else {
    for (int lane = 0; lane < n; ++lane) {
      const float* from = input.of_state(block.state_in(lane));
      for (int k = 0; k < count; ++k) numbers[k].v[lane] = from[k * input.number];
    }
  }
}

/// pack_of(k) for `count` numbers from number `first` on.
template <int n, typename PackAt>
void write_packs(const Output& output, const Block<n>& block, std::ptrdiff_t first, int count,
                 const PackAt& pack_of) noexcept {
  if (block.is_full() && output.state == 1) {
    float* to = output.of_state(block.first) + first * output.number;
    for (int k = 0; k < count; ++k) metapod::Spatial::store(to + k * output.number, pack_of(k));
  } else if (block.is_full() && output.number == 1 && count >= 4) {
    const RowsOf<n, float> rows(output, block.first);
    for (int four = 0; four < (count + 3) / 4; ++four) {
      const int k = std::min(4 * four, count - 4);
      PackOf<n> packs[4];
      unrolled<4>([&](auto i) { packs[i] = pack_of(k + static_cast<int>(i)); });
      metapod::Spatial::transpose(packs[0], packs[1], packs[2], packs[3]);
      unrolled<4>([&](auto i) { put_every_fourth_row(rows, i, first + k, packs[i]); });
    }
  } else {
    for (int lane = 0; lane < block.count; ++lane) {
      float* to = output.of_state(block.first + lane) + first * output.number;
      for (int k = 0; k < count; ++k) to[k * output.number] = pack_of(k).v[lane];
    }
  }
}

template <int n>
[[gnu::noinline]] void write_numbers(const Output& output, const Block<n>& block, std::ptrdiff_t first, int count,
                                     const PackOf<n>* numbers) noexcept {
  if (output.data == nullptr) return;
  write_packs(output, block, first, count, [numbers](int k) -> const PackOf<n>& { return numbers[k]; });
}

/// The entries of a matrix: those that are kept, and all of them, with a zero behind those that are kept.
template <int n>
[[gnu::noinline]] void write_entries(const Output& packed, const Output& dense, const Block<n>& block,
                                     const PackOf<n>* entries, const EntryPlaces& places) noexcept {
  write_numbers<n>(packed, block, 0, places.count, entries);
  if (dense.data == nullptr) return;
  write_packs(dense, block, 0, coordinate_count * coordinate_count,
              [entries, of_entry = places.row(0)](int k) -> const PackOf<n>& { return entries[of_entry[k]]; });
}

}  // namespace korvel::batch
