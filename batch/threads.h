#pragma once

#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_reduce.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <optional>

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// The processors that this process may use.
int usable_processors() noexcept;

/// Cuts states into stretches and has threads work on them. A stretch begins with a tile.
class Threads {
 public:
  /// At most so many; as many as there are processors to use for 0.
  explicit Threads(int count);

  int count() const noexcept { return count_; }

  /// States that are worth the handing over, which takes about as long as some of them.
  static constexpr std::ptrdiff_t shortest = 32 * tile_size;

  /// work(stretch) for stretches that together are all n states; none is cut that is not longer than `worth`, some
  /// tiles.
  template <typename Work>
  void for_each_stretch(std::ptrdiff_t n, const Work& work, std::ptrdiff_t worth = shortest) const {
    if (count_ == 1 || n <= worth) return work(Stretch{0, n});
    arena_.execute(
        [&] { tbb::parallel_for(tiles_of(n, worth), [&](const Tiles& tiles) { work(stretch(tiles, n)); }); });
  }

  /// The sum of sum_of(stretch) over all states. How they are cut and in which order sums are added depends on n alone.
  template <typename Sum, typename SumOf>
  Sum sum(std::ptrdiff_t n, const SumOf& sum_of, std::ptrdiff_t worth = shortest) const {
    if (n <= worth) return sum_of(Stretch{0, n});
    return arena_.execute([&] {
      return tbb::parallel_deterministic_reduce(
          tiles_of(n, worth), Sum{},
          [&](const Tiles& tiles, const Sum& before) { return before + sum_of(stretch(tiles, n)); },
          [](const Sum& a, const Sum& b) { return a + b; });
    });
  }

 private:
  using Tiles = tbb::blocked_range<std::ptrdiff_t>;

  static Tiles tiles_of(std::ptrdiff_t n, std::ptrdiff_t worth) {
    return {0, (n - 1) / tile_size + 1, static_cast<std::size_t>(worth / tile_size)};
  }
  static Stretch stretch(const Tiles& tiles, std::ptrdiff_t n) {
    return {tiles.begin() * tile_size, std::min(tiles.end() * tile_size, n)};
  }

  int count_;
  std::optional<tbb::global_control> more_than_processors_;
  mutable tbb::task_arena arena_;
};

}  // namespace korvel::batch
