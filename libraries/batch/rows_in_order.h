#pragma once

#include <algorithm>
#include <cstring>

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// Memory takes results that no cache holds quickly only as rows, one after the other. Kernels write a few numbers of
/// many rows in turn, which then takes up to three times as long. They therefore write a tile of states into room on
/// the stack, and its rows are copied from there. Results of at most this size are a tenth faster without that room.
constexpr std::ptrdiff_t most_bytes_in_caches = 8 << 20;

/// Room for the rows of one result and a tile of states. What has another layout is written where it belongs, unless
/// only some of the parts that a row consists of are wanted.
template <int numbers, int part = numbers>
class RowsInOrder {
 public:
  /// The wanted parts stay the caller's; null for all of them, in their order.
  explicit RowsInOrder(const Output& output, const int* parts = nullptr, std::ptrdiff_t part_count = 0) noexcept
      : to_(output),
        parts_(parts),
        part_count_(part_count),
        is_used_(output.data != nullptr && (parts != nullptr || output.number == 1)) {}

  /// Returns where a kernel writes any tile.
  Output room() noexcept { return is_used_ ? Output{room_, numbers, 1, 0} : to_; }
  void copy(const Stretch& tile) const noexcept {
    if (!is_used_) return;
    const std::ptrdiff_t count = tile.last - tile.first;
    // Rows without gaps are copied in one piece, so that only its last line of the cache is not whole.
    const std::ptrdiff_t in_a_row = parts_ == nullptr && to_.state == numbers ? count : 1;
    for (std::ptrdiff_t s = 0; s < count; s += in_a_row) {
      float* to = to_.of_state(tile.first + s);
      const float* from = room_ + s * numbers;
      if (parts_ == nullptr) std::memcpy(to, from, static_cast<std::size_t>(in_a_row * numbers) * sizeof(float));
      for (std::ptrdiff_t i = 0; parts_ != nullptr && i < part_count_; ++i) {
        for (int k = 0; k < part; ++k, to += to_.number) *to = from[part * parts_[i] + k];
      }
    }
  }

 private:
  Output to_;
  const int* parts_;
  std::ptrdiff_t part_count_;
  bool is_used_;
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
