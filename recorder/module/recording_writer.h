#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "recorder/module/block_file.h"

namespace korvel::record {

/// The recording of a process, and the thread that keeps blocks ready: in the file system and in memory, so that
/// whoever takes one writes to it without a system call or a page fault. The thread allocates nothing and takes no
/// lock.
class RecordingWriter {
 public:
  /// `text` describes what is recorded. Throws std::runtime_error with the reason if no file can be made in `folder`.
  /// `most_bytes` is the size of the file, 0 for any.
  RecordingWriter(std::string folder, std::uint64_t most_bytes, std::string text);
  RecordingWriter(const RecordingWriter&) = delete;
  RecordingWriter& operator=(const RecordingWriter&) = delete;
  ~RecordingWriter();
  /// Ends the recording: no block is taken any more. Those that are in use stay, for threads that a process leaves
  /// behind at its end; the file does not say that it was ended then, nor where it is `cut_short`.
  void end(bool cut_short) noexcept;

  /// A block with its header filled, or none. One atomic exchange, most times.
  Block* take(std::uint32_t stream) noexcept;
  /// Call this when nothing more will be written to the block.
  static void leave(Block& block) noexcept { block.state.store(Block::left, std::memory_order_release); }
  /// A block that an object has left partly written goes on with the next object.
  Block* take_spare() noexcept { return spare_.take(); }
  void leave_spare(Block& block) noexcept {
    if (!spare_.put(block)) leave(block);
  }

  void count_lost() noexcept { count(&recording::FileHeader::lost); }
  void count_overlapped() noexcept { count(&recording::FileHeader::overlapped); }

 private:
  void count(std::uint64_t recording::FileHeader::*counter) noexcept {
    __atomic_fetch_add(&(file_.header()->*counter), 1, __ATOMIC_RELAXED);
  }
  bool start_thread() noexcept;
  void run() noexcept;
  /// Looks after blocks that are in use. Returns how many have been left.
  std::size_t attend() noexcept;
  /// Returns how many blocks had to be made ready.
  std::size_t refill() noexcept;

  std::string folder_, text_;
  BlockFile file_;
  BlockPool ready_, spare_;
  std::vector<Block*> active_;  ///< ready, taken, or left
  std::atomic<std::uint64_t> taken_{0};
  sem_t stop_{}, tried_{};
  int failure_ = 0;  ///< what errno was when the file was first tried to be made
  pthread_t thread_{};
  bool has_thread_ = false;
};

}  // namespace korvel::record
