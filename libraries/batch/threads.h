#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "batch/kernels/kernels.h"

namespace korvel::batch {

/// Guards what a child of a fork needs whole. A fork waits for it, so that no child finds it locked.
extern std::mutex taken_before_forks;

/// Cuts states into stretches and has threads work on them. A stretch begins with a tile.
///
/// The constructor makes all threads and the destructor joins them. The child of a fork has none of its parent's
/// threads, and locks that they held stay locked. There, the calling thread does all the work.
class Threads {
 public:
  /// Counts the calling thread. 0 stands for the number of usable processors. Makes fewer where the system refuses.
  explicit Threads(int count);
  ~Threads();
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;

  /// The number of threads that work on a call, the calling one among them.
  int count() const noexcept;

  /// States that are worth the handing over, which takes about as long as some of them.
  static constexpr std::ptrdiff_t shortest = 32 * tile_size;

  /// work(stretch) for stretches that together are all n states; none is cut that is not longer than `worth`, some
  /// tiles. What work throws is thrown here, when no thread is at work any more.
  template <typename Work>
  void for_each_stretch(std::ptrdiff_t n, const Work& work, std::ptrdiff_t worth = shortest) const {
    if (works_alone()) return work(Stretch{0, n});
    const Cut cut(n, worth);
    run(cut.parts, [&](std::ptrdiff_t part) { work(cut.stretch(part)); });
  }

  /// The sum of sum_of(stretch) over all states by add(sum, total). How they are cut and in which order sums are added
  /// depends on n alone.
  template <typename SumOf, typename Add>
  auto sum(std::ptrdiff_t n, const SumOf& sum_of, const Add& add, std::ptrdiff_t worth = shortest) const {
    const Cut cut(n, worth);
    std::vector<decltype(sum_of(cut.stretch(0)))> sums(static_cast<std::size_t>(cut.parts));
    run(cut.parts, [&](std::ptrdiff_t part) { sums[static_cast<std::size_t>(part)] = sum_of(cut.stretch(part)); });
    std::for_each(sums.begin() + 1, sums.end(), [&](const auto& next) { add(next, sums.front()); });
    return sums.front();
  }

 private:
  struct Pool;

  /// Stretches of whole tiles, all about as long: an even number, so that two threads have as many each.
  struct Cut {
    Cut(std::ptrdiff_t n, std::ptrdiff_t worth) noexcept
        : states(n),
          tiles((n - 1) / tile_size + 1),
          parts(n <= worth ? 1 : std::min(2 * ((n - 1) / worth + 1), most_parts)) {}

    Stretch stretch(std::ptrdiff_t part) const noexcept {
      return {first_of(part), std::min(first_of(part + 1), states)};
    }

    std::ptrdiff_t states, tiles, parts;

   private:
    /// This number of sums needs at most a megabyte.
    static constexpr std::ptrdiff_t most_parts = 1024;

    /// The first parts have one tile more than the others. No product of n, which may be large.
    std::ptrdiff_t first_of(std::ptrdiff_t part) const noexcept {
      return (part * (tiles / parts) + std::min(part, tiles % parts)) * tile_size;
    }
  };

  bool works_alone() const noexcept;

  /// work(part) for all parts from 0 on.
  void run(std::ptrdiff_t parts, const std::function<void(std::ptrdiff_t)>& work) const;

  std::unique_ptr<Pool> pool_;  ///< null if the calling thread is the only one
};

}  // namespace korvel::batch
