#pragma once

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// Of what no cache holds, it is rows one after the other that memory takes quickly. Kernels write a few numbers of
/// many rows in turn, which then takes up to three times as long; so they write a tile of states into room on the
/// stack, and its rows are copied from there. What a cache holds is a tenth faster without.
inline bool is_beyond_caches(std::ptrdiff_t n, std::initializer_list<std::pair<const Output*, int>> results) noexcept {
  constexpr std::ptrdiff_t most_in_caches = 8 << 20;  // bytes
  std::ptrdiff_t numbers = 0;
  for (const auto& [output, count] : results) {
    if (output->data != nullptr) numbers += count;
  }
  return numbers * static_cast<std::ptrdiff_t>(sizeof(float)) > most_in_caches / n;
}

/// What is read or written from a state on that begins a tile, as if that were the first.
template <typename Float>
NumbersOf<Float> from(const NumbersOf<Float>& numbers, std::ptrdiff_t state) noexcept {
  if (numbers.data == nullptr) return numbers;
  return {numbers.of_state(state), numbers.state, numbers.number, numbers.tile};
}

/// Room for the rows of one result and a tile of states. What has another layout is written where it belongs.
template <int numbers>
class RowsInOrder {
 public:
  RowsInOrder(const Output& output, const Stretch& tile) noexcept
      : to_(from(output, tile.first)), count_(tile.last - tile.first) {}

  /// Where a kernel writes.
  Output room() noexcept { return has_rows() ? Output{room_, numbers, 1, 0} : to_; }
  void copy() const noexcept {
    if (!has_rows()) return;
    // In one piece where there are no gaps: at its end alone a line of the cache is not whole.
    const std::ptrdiff_t in_a_row = to_.state == numbers ? count_ : 1;
    const std::size_t bytes = static_cast<std::size_t>(in_a_row * numbers) * sizeof(float);
    for (std::ptrdiff_t s = 0; s < count_; s += in_a_row) std::memcpy(to_.of_state(s), room_ + s * numbers, bytes);
  }

 private:
  bool has_rows() const noexcept { return to_.data != nullptr && to_.number == 1 && to_.tile == 0; }

  Output to_;
  std::ptrdiff_t count_;
  alignas(64) float room_[static_cast<std::size_t>(tile_size * numbers)];
};

/// work(tile) for each tile of a stretch.
template <typename Work>
void for_each_tile(const Stretch& states, const Work& work) {
  for (std::ptrdiff_t first = states.first; first < states.last; first += tile_size) {
    work(Stretch{first, std::min(first + tile_size, states.last)});
  }
}

}  // namespace korvel::batch
