#pragma once

#include <sys/types.h>

#include <array>
#include <atomic>
#include <boost/circular_buffer.hpp>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "recorder/format/format.h"

namespace korvel::record {

/// Writes a line to standard error, in one piece because other threads write there, too. Allocates nothing.
void say(std::string_view text) noexcept;

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

/// The file of a process as blocks in memory: set aside by the file system, and faulted in. Of one thread, which
/// allocates nothing and takes no lock once this is made, but for what is said otherwise.
class BlockFile {
 public:
  /// `most_bytes` is the size of the file, 0 for any.
  explicit BlockFile(std::uint64_t most_bytes);
  BlockFile(const BlockFile&) = delete;
  BlockFile& operator=(const BlockFile&) = delete;
  /// Removes the blocks from memory.
  ~BlockFile();

  /// Makes the file, with `text` in its header. False, and errno, if that fails.
  bool make(const std::string& folder, const std::string& text) noexcept;
  /// Null before the file is made.
  recording::FileHeader* header() const noexcept { return header_; }

  /// Blocks of a file that is not to become longer, else 0.
  std::size_t ring() const noexcept { return ring_; }
  /// Returns the largest number of blocks in memory.
  std::size_t most_in_memory() const noexcept { return blocks_.size(); }

  /// A block to write to, empty, or none: the next of the file, or the one that was finished first.
  Block* next() noexcept;
  /// Writes the checksum of what is complete.
  static void check(Block& block) noexcept;
  /// Call this when nothing more is written to the block.
  void finish(Block& block) noexcept;
  /// Makes the header and the file's entry in its directory survive a loss of power. Waits for the disk, and no
  /// longer than once a second.
  void save() noexcept;
  /// Makes the block part of the file. Call it once for each block that was taken.
  void keep(const Block& block) noexcept;
  /// Stops making blocks. `ended` says that nothing is written any more either. What is in memory stays there.
  /// `last_block` is the largest number of a block.
  void end(bool ended, std::uint64_t last_block) noexcept;

 private:
  static constexpr std::size_t most_blocks = 8192;  ///< in memory at a time

  /// The number of the file's descriptor; -1, after one line on standard error, once the host has closed it. The number
  /// may then belong to a file of the host, so that no call uses a number that was not asked for just before.
  int descriptor() noexcept;
  bool has_descriptor() const noexcept;
  bool lengthen() noexcept;
  bool map(Block& block, std::uint32_t index) noexcept;

  std::size_t ring_;
  std::vector<Block> blocks_;
  std::vector<Block*> free_;
  /// Indexes of a ring's finished blocks, the first one in front.
  boost::circular_buffer<std::uint32_t> finished_;
  recording::FileHeader* header_ = nullptr;
  int descriptor_ = -1;
  dev_t device_ = 0;  ///< with `inode_` what tells the file from others
  ino_t inode_ = 0;
  std::uint32_t made_ = 0;         ///< the last block's index
  std::uint32_t kept_ = 0;         ///< likewise, of those that were in use
  std::uint64_t kept_count_ = 0;   ///< how many of them there are
  std::uint64_t allocated_ = 0;    ///< bytes that the file system has set aside
  std::int64_t next_attempt_ = 0;  ///< to lengthen it
  std::int64_t next_save_ = 0;
  bool is_longer_ = false;  ///< than when it was saved
};

}  // namespace korvel::record
