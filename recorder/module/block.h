#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "recorder/format/format.h"

namespace korvel::record {

/// A piece of the file in memory.
struct Block {
  enum State : int { unused, ready, taken, left };

  std::atomic<int> state{unused};
  recording::BlockHeader* header = nullptr;
  std::uint32_t index = 0;    ///< of the block in the file; 0 is the header
  std::uint64_t checked = 0;  ///< bytes of records

  char* records() const noexcept { return reinterpret_cast<char*>(header + 1); }
};

/// A few blocks that any thread may put there and take away, without waiting for another one.
class BlockPool {
 public:
  static constexpr std::size_t most = 64;

  explicit BlockPool(std::size_t count) : count_(static_cast<unsigned>(count)) {}

  /// One of them, or none.
  Block* take() noexcept {
    // Each begins elsewhere: two that take at once seldom want the same.
    const unsigned first = next_.fetch_add(1, std::memory_order_relaxed);
    for (unsigned i = 0; i < count_; ++i) {
      std::atomic<Block*>& slot = blocks_[(first + i) % count_];
      if (slot.load(std::memory_order_relaxed) == nullptr) continue;
      if (Block* block = slot.exchange(nullptr, std::memory_order_acq_rel)) return block;
    }
    return nullptr;
  }
  /// False if the pool is full.
  bool put(Block& block) noexcept {
    for (unsigned i = 0; i < count_; ++i) {
      Block* none = nullptr;
      if (blocks_[i].compare_exchange_strong(none, &block, std::memory_order_acq_rel)) return true;
    }
    return false;
  }
  std::size_t empty() const noexcept {
    std::size_t empty = 0;
    for (unsigned i = 0; i < count_; ++i) empty += blocks_[i].load(std::memory_order_relaxed) == nullptr ? 1U : 0U;
    return empty;
  }
  std::size_t count() const noexcept { return count_; }

 private:
  unsigned count_;
  std::atomic<unsigned> next_{0};
  std::array<std::atomic<Block*>, most> blocks_{};
};

}  // namespace korvel::record
