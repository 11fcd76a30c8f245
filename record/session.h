#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "recording/format.h"

namespace korvel::record {

/// A piece of the file in memory.
struct Block {
  enum State : int { unused, ready, taken, left };

  std::atomic<int> state{unused};
  recording::BlockHeader* header = nullptr;
  std::uint64_t offset = 0;   ///< in the file
  std::uint64_t checked = 0;  ///< bytes of records

  char* records() const noexcept { return reinterpret_cast<char*>(header + 1); }
};

/// The file of a process, and the thread that keeps blocks of it ready: in the file system and in memory, so that
/// whoever takes one writes to it without a system call or a page fault. The thread allocates nothing and takes no
/// lock.
class Session {
 public:
  /// `text` describes what is recorded. Throws std::runtime_error with the reason if no file can be made in `folder`.
  /// `most_bytes` is the size of the file, 0 for any.
  Session(std::string folder, std::uint64_t most_bytes, std::string text);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();
  /// Ends the recording: no block is taken any more. Those that are in use stay in memory, for threads that a process
  /// leaves behind at its end.
  void end() noexcept;

  /// A block with its header filled, or none. One atomic exchange, most times.
  Block* take(std::uint32_t stream) noexcept;
  /// Nothing more will be written to the block.
  static void leave(Block& block) noexcept { block.state.store(Block::left, std::memory_order_release); }

  void count_lost() noexcept { count(&recording::FileHeader::lost); }
  void count_overlapped() noexcept { count(&recording::FileHeader::overlapped); }

  /// In the child of a fork: all blocks are the parent's. The child gets a file of its own some milliseconds later, for
  /// most children soon run another program.
  void forked() noexcept;
  /// Changes when blocks that were taken are no longer to be written to.
  unsigned generation() const noexcept { return generation_.load(std::memory_order_relaxed); }

 private:
  static constexpr std::size_t ready_blocks = 64;
  static constexpr std::size_t most_blocks = 8192;  ///< in memory at a time
  static constexpr std::size_t small_ring = 1024;   ///< blocks that all stay in memory

  void count(std::uint64_t recording::FileHeader::*counter) noexcept;
  /// Makes the file. False, and errno, if that fails.
  bool open_file() noexcept;
  bool start_thread() noexcept;
  void run() noexcept;
  /// Looks after blocks that are in use. Returns how many have been left.
  std::size_t attend() noexcept;
  /// Returns how many blocks had to be made ready.
  std::size_t refill() noexcept;
  Block* next_block() noexcept;
  bool lengthen() noexcept;
  bool make_ready(Block& block) noexcept;
  void finish(Block& block) noexcept;
  static void check(Block& block) noexcept;

  std::string folder_, text_, path_;
  std::size_t ring_;    ///< blocks of the file, 0 for any number
  std::size_t places_;  ///< of ready_ that are in use: what is made ready is no longer the end of what was recorded
  std::vector<Block> blocks_;
  /// Those that are not in use, the one that was left first in front; a ring.
  std::vector<Block*> idle_;
  std::size_t first_idle_ = 0, idle_count_ = 0;
  std::vector<Block*> active_;
  std::array<std::atomic<Block*>, ready_blocks> ready_{};
  std::atomic<unsigned> next_ready_{0};
  std::atomic<std::uint64_t> taken_{0};
  std::atomic<recording::FileHeader*> file_{nullptr};
  int descriptor_ = -1;
  std::uint64_t size_ = 0;                      ///< of the file, up to its last block
  std::uint64_t allocated_ = 0;                 ///< likewise, of what the file system has set aside
  std::uint64_t used_ = recording::block_size;  ///< likewise, up to the last block that was in use
  std::int64_t next_try_ = 0;                   ///< to lengthen it
  std::atomic<unsigned> generation_{1};
  sem_t stop_{}, tried_{};
  int failure_ = 0;  ///< what errno was when the file was first tried to be made
  pthread_t thread_{};
  bool has_thread_ = false;
  bool in_child_ = false;
};

}  // namespace korvel::record
