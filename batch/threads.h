#pragma once

#include <tbb/blocked_range.h>
#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_reduce.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// The processors that this process may use.
int usable_processors() noexcept;

/// Cuts states into stretches and has threads work on them. A stretch begins with a tile.
///
/// A process that was forked off one that had a pool has the pool's memory without its threads, and locks that nobody
/// will open. There all is done by the calling thread.
class Threads {
 public:
  /// At most so many; as many as there are processors to use for 0.
  explicit Threads(int count);
  ~Threads();
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;

  int count() const noexcept { return count_; }

  /// States that are worth the handing over, which takes about as long as some of them.
  static constexpr std::ptrdiff_t shortest = 32 * tile_size;

  /// work(stretch) for stretches that together are all n states; none is cut that is not longer than `worth`, some
  /// tiles.
  template <typename Work>
  void for_each_stretch(std::ptrdiff_t n, const Work& work, std::ptrdiff_t worth = shortest) const {
    if (n <= worth || works_alone()) return work(Stretch{0, n});
    pool_->arena.execute(
        [&] { tbb::parallel_for(tiles_of(n, worth), [&](const Tiles& tiles) { work(stretch(tiles, n)); }); });
  }

  /// The sum of sum_of(stretch) over all states. How they are cut and in which order sums are added depends on n alone.
  template <typename Sum, typename SumOf>
  Sum sum(std::ptrdiff_t n, const SumOf& sum_of, std::ptrdiff_t worth = shortest) const {
    if (n <= worth || works_alone()) return sum_alone<Sum>(tiles_of(n, worth), n, sum_of);
    return pool_->arena.execute([&] {
      return tbb::parallel_deterministic_reduce(
          tiles_of(n, worth), Sum{},
          [&](const Tiles& tiles, const Sum& before) { return before + sum_of(stretch(tiles, n)); },
          [](const Sum& a, const Sum& b) { return a + b; });
    });
  }

 private:
  using Tiles = tbb::blocked_range<std::ptrdiff_t>;

  struct Pool {
    explicit Pool(int count);
    std::optional<tbb::global_control> more_than_processors;
    tbb::task_arena arena;
  };

  static Tiles tiles_of(std::ptrdiff_t n, std::ptrdiff_t worth) {
    return {0, (n - 1) / tile_size + 1, static_cast<std::size_t>(worth / tile_size)};
  }
  static Stretch stretch(const Tiles& tiles, std::ptrdiff_t n) {
    return {tiles.begin() * tile_size, std::min(tiles.end() * tile_size, n)};
  }

  /// Halves that are summed first, as the pool has them.
  template <typename Sum, typename SumOf>
  // NOLINTNEXTLINE(misc-no-recursion): as deep as n can be halved
  static Sum sum_alone(Tiles tiles, std::ptrdiff_t n, const SumOf& sum_of) {
    if (!tiles.is_divisible()) return sum_of(stretch(tiles, n));
    const Tiles second(tiles, tbb::split());
    const Sum first = sum_alone<Sum>(tiles, n, sum_of);
    return first + sum_alone<Sum>(second, n, sum_of);
  }

  bool works_alone() const noexcept;

  int count_;
  std::unique_ptr<Pool> pool_;
};

}  // namespace korvel::batch
