#include "recorder/module/recording_writer.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <stdexcept>
#include <system_error>

#include "recorder/module/ticks.h"

namespace korvel::record {

using recording::FileHeader;

namespace {

constexpr std::int64_t millisecond = 1'000'000;

std::string reason(const std::string& subject, int code) {
  return subject + ": " + std::generic_category().message(code);
}

/// The block that was prepared is no longer the end of the recording.
std::size_t blocks_ready_for(std::size_t ring) {
  return ring == 0 ? BlockPool::most : std::min(BlockPool::most, ring / 4);
}

}  // namespace

RecordingWriter::RecordingWriter(std::string folder, std::uint64_t most_bytes, std::string text)
    : folder_(std::move(folder)),
      text_(std::move(text)),
      file_(most_bytes),
      ready_(blocks_ready_for(file_.ring())),
      spare_(blocks_ready_for(file_.ring())) {
  if (text_.size() > recording::block_size - sizeof(FileHeader)) {
    throw std::runtime_error("the robot has too many names");
  }
  active_.reserve(file_.most_in_memory());
  sem_init(&stop_, 0, 0);
  sem_init(&tried_, 0, 0);
  if (!start_thread()) throw std::runtime_error(reason("a thread to write", errno));
  // The thread makes the file, too: a limit on the size of files sends a signal.
  while (sem_wait(&tried_) != 0) {
  }
  if (file_.header() != nullptr) return;
  end(true);
  throw std::runtime_error(reason(folder_, failure_));
}

RecordingWriter::~RecordingWriter() {
  sem_destroy(&stop_);
  sem_destroy(&tried_);
}

void RecordingWriter::end(bool cut_short) noexcept {
  if (has_thread_) {
    sem_post(&stop_);
    pthread_join(thread_, nullptr);
    has_thread_ = false;
  }
  if (file_.header() == nullptr) return;
  while (Block* block = spare_.take()) leave(*block);
  // Others that are not in these places any more have been taken, or are about to be.
  while (Block* block = ready_.take()) block->state.store(Block::unused, std::memory_order_relaxed);
  bool in_use = cut_short;
  for (Block* block : active_) {
    const int state = block->state.load(std::memory_order_acquire);
    if (state == Block::unused) continue;
    in_use = in_use || state != Block::left;
    BlockFile::check(*block);
    file_.keep(*block);
  }
  file_.end(!in_use, taken_.load(std::memory_order_relaxed));
}

// ---- Of those who record --------------------------------------------------------------------------------------------

Block* RecordingWriter::take(std::uint32_t stream) noexcept {
  Block* block = ready_.take();
  if (block == nullptr) return nullptr;
  block->header->stream = stream;
  block->header->ticks = ticks();
  block->header->number = taken_.fetch_add(1, std::memory_order_relaxed) + 1;
  block->state.store(Block::taken, std::memory_order_release);
  return block;
}

// ---- Of the thread that writes --------------------------------------------------------------------------------------

bool RecordingWriter::start_thread() noexcept {
  // The thread must not receive the host's signals, nor the one for a file that is too long.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  const int code = pthread_create(
      &thread_, nullptr,
      [](void* writer) -> void* {
        static_cast<RecordingWriter*>(writer)->run();
        return nullptr;
      },
      this);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  has_thread_ = code == 0;
  errno = code;
  return has_thread_;
}

void RecordingWriter::run() noexcept {
  pthread_setname_np(pthread_self(), "korvel-record");
  constexpr std::int64_t shortest = millisecond;
  constexpr std::int64_t longest = 20 * millisecond;
  std::int64_t pause = shortest;
  const bool made = file_.make(folder_, text_);
  failure_ = errno;
  if (made) {
    refill();
    // Together with the start, which is some milliseconds ago, this gives the speed of the counter.
    file_.header()->last = now();
  }
  sem_post(&tried_);
  if (!made) return;
  for (;;) {
    const std::int64_t until = nanoseconds(CLOCK_MONOTONIC) + pause;
    const timespec time{until / 1'000'000'000, until % 1'000'000'000};
    int stopped = 0;
    do {
      stopped = sem_clockwait(&stop_, CLOCK_MONOTONIC, &time);
    } while (stopped != 0 && errno == EINTR);
    if (stopped == 0) return;
    const std::size_t left = attend();
    const std::size_t taken = refill();
    file_.save();
    file_.header()->last = now();
    pause = 4 * (left + taken) > ready_.count() ? shortest : std::min(2 * pause, longest);
  }
}

std::size_t RecordingWriter::attend() noexcept {
  const auto left = std::partition(active_.begin(), active_.end(), [](Block* block) {
    const int state = block->state.load(std::memory_order_acquire);
    if (state == Block::taken) BlockFile::check(*block);
    return state != Block::left;
  });
  // A ring goes on where it is oldest.
  std::sort(left, active_.end(), [](const Block* a, const Block* b) { return a->header->number < b->header->number; });
  std::for_each(left, active_.end(), [this](Block* block) { file_.finish(*block); });
  const auto count = static_cast<std::size_t>(active_.end() - left);
  active_.erase(left, active_.end());
  return count;
}

std::size_t RecordingWriter::refill() noexcept {
  const std::size_t taken = ready_.empty();
  for (std::size_t i = 0; i < taken; ++i) {
    Block* block = file_.next();
    if (block == nullptr) break;
    active_.push_back(block);
    block->state.store(Block::ready, std::memory_order_relaxed);
    ready_.put(*block);
  }
  return taken;
}

}  // namespace korvel::record
