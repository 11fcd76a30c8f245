#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "recording/format.h"

namespace korvel::record {

/// A piece of the file in memory.
struct Block {
  enum State : int { unused, ready, taken, left };

  std::atomic<int> state{unused};
  recording::BlockHeader* header = nullptr;
  std::uint32_t place = 0;    ///< in the file, in blocks
  std::uint64_t checked = 0;  ///< bytes of records

  char* records() const noexcept { return reinterpret_cast<char*>(header + 1); }
};

/// A few blocks that any thread may put there and take away, without waiting for another one.
class Places {
 public:
  static constexpr std::size_t most = 64;

  explicit Places(std::size_t count) : count_(static_cast<unsigned>(count)) {}

  /// One of them, or none.
  Block* take() noexcept {
    // Each begins elsewhere: two that take at once seldom want the same.
    const unsigned first = next_.fetch_add(1, std::memory_order_relaxed);
    for (unsigned i = 0; i < count_; ++i) {
      std::atomic<Block*>& place = places_[(first + i) % count_];
      if (place.load(std::memory_order_relaxed) == nullptr) continue;
      if (Block* block = place.exchange(nullptr, std::memory_order_acq_rel)) return block;
    }
    return nullptr;
  }
  /// False if there is no place for it.
  bool put(Block& block) noexcept {
    for (unsigned i = 0; i < count_; ++i) {
      Block* none = nullptr;
      if (places_[i].compare_exchange_strong(none, &block, std::memory_order_acq_rel)) return true;
    }
    return false;
  }
  std::size_t empty() const noexcept {
    std::size_t empty = 0;
    for (unsigned i = 0; i < count_; ++i) empty += places_[i].load(std::memory_order_relaxed) == nullptr ? 1U : 0U;
    return empty;
  }
  std::size_t count() const noexcept { return count_; }
  void clear() noexcept {
    for (std::atomic<Block*>& place : places_) place.store(nullptr, std::memory_order_relaxed);
  }

 private:
  unsigned count_;
  std::atomic<unsigned> next_{0};
  std::array<std::atomic<Block*>, most> places_{};
};

}  // namespace korvel::record
