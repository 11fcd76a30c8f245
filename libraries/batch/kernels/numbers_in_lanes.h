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

/// As many states as there are lanes, from one on. Beyond the last state it is taken again.
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

/// Where the numbers of each lane's state begin.
template <int n, typename Float>
struct RowsOf {
  RowsOf(const NumbersOf<Float>& numbers, std::ptrdiff_t first) noexcept
      : begin(numbers.of_state(first)), state(numbers.state) {}

  Float* operator[](int lane) const noexcept { return begin + lane * state; }

  Float* begin;
  std::ptrdiff_t state;
};

/// Four numbers of lane i, i + 4, and so on, from k on.
template <int n, int i>
PackOf<n> every_fourth_row(const RowsOf<n, const float>& rows, int k) noexcept {
  using metapod::Spatial::joined;
  using metapod::Spatial::load;
  if constexpr (n == 4) {
    return load(rows[i] + k);
  } else if constexpr (n == 8) {
    return joined(load(rows[i] + k), load(rows[i + 4] + k));
  } else {
    return joined(joined(load(rows[i] + k), load(rows[i + 4] + k)),
                  joined(load(rows[i + 8] + k), load(rows[i + 12] + k)));
  }
}

/// The opposite.
template <int n, int i>
void put_every_fourth_row(const RowsOf<n, float>& rows, std::ptrdiff_t k, const PackOf<n>& pack) noexcept {
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
      PackOf<n> a = every_fourth_row<n, 0>(rows, k);
      PackOf<n> b = every_fourth_row<n, 1>(rows, k);
      PackOf<n> c = every_fourth_row<n, 2>(rows, k);
      PackOf<n> d = every_fourth_row<n, 3>(rows, k);
      metapod::Spatial::transpose(a, b, c, d);
      numbers[k] = a;
      numbers[k + 1] = b;
      numbers[k + 2] = c;
      numbers[k + 3] = d;
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
      PackOf<n> a = pack_of(k);
      PackOf<n> b = pack_of(k + 1);
      PackOf<n> c = pack_of(k + 2);
      PackOf<n> d = pack_of(k + 3);
      metapod::Spatial::transpose(a, b, c, d);
      put_every_fourth_row<n, 0>(rows, first + k, a);
      put_every_fourth_row<n, 1>(rows, first + k, b);
      put_every_fourth_row<n, 2>(rows, first + k, c);
      put_every_fourth_row<n, 3>(rows, first + k, d);
    }
  } else {
    for (int lane = 0; lane < block.count; ++lane) {
      float* to = output.of_state(block.first + lane) + first * output.number;
      for (int k = 0; k < count; ++k) to[k * output.number] = pack_of(k).v[lane];
    }
  }
}

/// Nothing without data.
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
