#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "record/block.h"

namespace korvel::record {

/// The file of a process as blocks in memory: set aside by the file system, and faulted in. Of one thread, which
/// allocates nothing and takes no lock once this is made, but for what is said otherwise.
class BlockFile {
 public:
  /// `most_bytes` is the size of the file, 0 for any.
  explicit BlockFile(std::uint64_t most_bytes);
  BlockFile(const BlockFile&) = delete;
  BlockFile& operator=(const BlockFile&) = delete;
  /// Nothing is in memory any more.
  ~BlockFile();

  /// Makes the file, with `text` in its header. False, and errno, if that fails.
  bool make(const std::string& folder, const std::string& text) noexcept;
  /// Nothing before the file is made. Any thread may ask.
  recording::FileHeader* header() const noexcept { return header_.load(std::memory_order_acquire); }

  /// Blocks of a file that is not to become longer, else 0.
  std::size_t ring() const noexcept { return ring_; }
  /// How many there are in memory at most.
  std::size_t most_in_memory() const noexcept { return blocks_.size(); }

  /// A block to write to, empty, or none: the next of the file, or the one that was finished first.
  Block* next() noexcept;
  /// Writes the checksum of what is complete.
  static void check(Block& block) noexcept;
  /// Nothing more is written to the block.
  void finish(Block& block) noexcept;
  /// What the file says of itself, and the file system of it, is to outlast a loss of power. Waits for the disk, and no
  /// longer than once a second.
  void save() noexcept;
  /// That block is part of the file when it has ended.
  void keep(const Block& block) noexcept;
  /// Nothing is made any more; `ended` if nothing is written any more either. What is in memory stays there.
  void end(bool ended) noexcept;
  /// In the child of a fork: the file is the parent's.
  void forget() noexcept;

 private:
  static constexpr std::size_t most_blocks = 8192;  ///< in memory at a time
  static constexpr std::size_t small_ring = 1024;   ///< blocks that all stay in memory

  bool lengthen() noexcept;
  bool map(Block& block, std::uint32_t place) const noexcept;
  void unmap_all() noexcept;
  void all_are_free() noexcept;
  bool all_stay() const noexcept { return ring_ != 0 && ring_ <= small_ring; }

  std::size_t ring_;
  std::vector<Block> blocks_;
  std::vector<Block*> free_;  ///< where not all stay
  /// Places of a ring's finished blocks, the first one in front; memory is there for what has been written to.
  std::unique_ptr<std::uint32_t[], void (*)(void*)> finished_;
  std::size_t first_finished_ = 0, finished_count_ = 0;
  std::atomic<recording::FileHeader*> header_{nullptr};
  int descriptor_ = -1;
  std::uint32_t made_ = 0;         ///< the last block's place
  std::uint32_t kept_ = 0;         ///< likewise, of those that were in use
  std::uint64_t allocated_ = 0;    ///< bytes that the file system has set aside
  std::int64_t next_attempt_ = 0;  ///< to lengthen it
  std::int64_t next_save_ = 0;
  bool is_longer_ = false;  ///< than when it was saved
};

}  // namespace korvel::record
