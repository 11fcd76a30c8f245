#include "record/session.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <system_error>

#include "record/ticks.h"
#include "recording/hash.h"

namespace korvel::record {

using recording::block_size;
using recording::BlockHeader;
using recording::FileHeader;

namespace {

constexpr std::int64_t millisecond = 1'000'000;
constexpr std::uint64_t lengthened_by = 16 * block_size;

std::string reason(const std::string& subject, int code) {
  return subject + ": " + std::generic_category().message(code);
}

/// Of the ring; there is a block for the header, and a few must be there to be taken in turns.
std::size_t blocks_in(std::uint64_t bytes) {
  return bytes == 0 ? 0 : std::max<std::size_t>(bytes / block_size, 16) - 1;
}

}  // namespace

Session::Session(std::string folder, std::uint64_t most_bytes, std::string text)
    : folder_(std::move(folder)),
      text_(std::move(text)),
      ring_(blocks_in(most_bytes)),
      places_(ring_ == 0 ? ready_blocks : std::min(ready_blocks, ring_ / 4)),
      blocks_(ring_ == 0 ? most_blocks : ring_) {
  if (text_.size() > block_size - sizeof(FileHeader)) throw std::runtime_error("the robot has too many names");
  idle_.resize(blocks_.size());
  active_.reserve(blocks_.size());
  for (Block& block : blocks_) idle_[idle_count_++] = &block;
  path_.reserve(folder_.size() + 100);
  sem_init(&stop_, 0, 0);
  sem_init(&tried_, 0, 0);
  if (!start_thread()) throw std::runtime_error(reason("a thread to write", errno));
  // The thread makes the file, too: a limit on the size of files sends a signal.
  while (sem_wait(&tried_) != 0) {
  }
  if (file_.load() != nullptr) return;
  end();
  throw std::runtime_error(reason(folder_, failure_));
}

Session::~Session() {
  sem_destroy(&stop_);
  sem_destroy(&tried_);
}

void Session::end() noexcept {
  if (has_thread_) {
    sem_post(&stop_);
    pthread_join(thread_, nullptr);
    has_thread_ = false;
  }
  for (std::atomic<Block*>& place : ready_) place.exchange(nullptr);
  FileHeader* file = file_.load();
  if (file == nullptr) return;
  bool in_use = false;
  for (Block* block : active_) {
    const int state = block->state.load(std::memory_order_acquire);
    if (state == Block::ready) continue;
    in_use = in_use || state == Block::taken;
    check(*block);
    used_ = std::max(used_, block->offset + block_size);
  }
  file->last = now();
  file->ended = used_;
  for (Block& block : blocks_) {
    if (block.header != nullptr && block.state.load() != Block::taken) munmap(block.header, block_size);
  }
  if (!in_use) {
    file_.store(nullptr);
    munmap(file, block_size);
  }
  // Blocks that nobody has taken are cut off; where they cannot be, they say so.
  [[maybe_unused]] const int ignored = ftruncate(descriptor_, static_cast<off_t>(used_));
  close(descriptor_);
}

// ---- Of those who record --------------------------------------------------------------------------------------------

Block* Session::take(std::uint32_t stream) noexcept {
  const unsigned first = next_ready_.fetch_add(1, std::memory_order_relaxed);
  for (unsigned i = 0; i < ready_blocks; ++i) {
    std::atomic<Block*>& place = ready_[(first + i) % ready_blocks];
    if (place.load(std::memory_order_relaxed) == nullptr) continue;
    Block* block = place.exchange(nullptr, std::memory_order_acq_rel);
    if (block == nullptr) continue;
    block->header->stream = stream;
    block->header->ticks = ticks();
    block->header->number = taken_.fetch_add(1, std::memory_order_relaxed) + 1;
    block->state.store(Block::taken, std::memory_order_release);
    return block;
  }
  return nullptr;
}

void Session::count(std::uint64_t FileHeader::*counter) noexcept {
  FileHeader* file = file_.load(std::memory_order_acquire);
  if (file != nullptr) __atomic_fetch_add(&(file->*counter), 1, __ATOMIC_RELAXED);
}

// ---- Of the thread that writes --------------------------------------------------------------------------------------

bool Session::open_file() noexcept {
  const std::time_t seconds = std::time(nullptr);
  std::tm date{};
  gmtime_r(&seconds, &date);
  std::array<char, 80> name{};
  for (int i = 0; i < 1000 && descriptor_ < 0; ++i) {
    std::snprintf(name.data(), name.size(), "/korvel-%04d%02d%02d-%02d%02d%02d-%d-%d.rec", date.tm_year + 1900,
                  date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec, getpid(), i);
    path_ = folder_;
    path_ += name.data();
    descriptor_ = open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ < 0 && errno != EEXIST) return false;
  }
  if (descriptor_ < 0) return false;
  const int full = posix_fallocate(descriptor_, 0, block_size);
  void* memory = full != 0 ? MAP_FAILED : mmap(nullptr, block_size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
  if (memory == MAP_FAILED) {
    if (full != 0) errno = full;
    const int code = errno;
    unlink(path_.c_str());
    close(descriptor_);
    descriptor_ = -1;
    errno = code;
    return false;
  }
  size_ = allocated_ = block_size;
  std::memcpy(static_cast<char*>(memory) + sizeof(FileHeader), text_.data(), text_.size());
  FileHeader header{};
  header.version = recording::format_version;
  header.block_size = block_size;
  header.text_checksum = recording::checksum(text_.data(), text_.size());
  header.text_size = static_cast<std::uint32_t>(text_.size());
  header.process = static_cast<std::uint32_t>(getpid());
  header.start = header.last = now();
  auto* const file = new (memory) FileHeader(header);
  file->magic = recording::file_magic;
  file_.store(file, std::memory_order_release);
  return true;
}

bool Session::start_thread() noexcept {
  // No signal of the host's is to end up there, nor that of a file that has become too long.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  const int code = pthread_create(
      &thread_, nullptr,
      [](void* session) -> void* {
        static_cast<Session*>(session)->run();
        return nullptr;
      },
      this);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  has_thread_ = code == 0;
  errno = code;
  return has_thread_;
}

void Session::run() noexcept {
  pthread_setname_np(pthread_self(), "korvel-record");
  constexpr std::int64_t shortest = millisecond;
  constexpr std::int64_t longest = 20 * millisecond;
  std::int64_t pause = longest;
  if (!in_child_) {
    pause = shortest;
    const bool made = open_file();
    failure_ = errno;
    if (made) refill();
    sem_post(&tried_);
    if (!made) return;
  }
  for (;;) {
    const std::int64_t until = nanoseconds(CLOCK_MONOTONIC) + pause;
    const timespec time{until / 1'000'000'000, until % 1'000'000'000};
    int stopped = 0;
    do {
      stopped = sem_clockwait(&stop_, CLOCK_MONOTONIC, &time);
    } while (stopped != 0 && errno == EINTR);
    if (stopped == 0) return;
    // In a child; a folder that has no room now may have some later.
    if (file_.load(std::memory_order_relaxed) == nullptr && !open_file()) {
      pause = 1000 * millisecond;
      continue;
    }
    const std::size_t left = attend();
    const std::size_t taken = refill();
    file_.load(std::memory_order_relaxed)->last = now();
    pause = 4 * (left + taken) > places_ ? shortest : std::min(2 * pause, longest);
  }
}

std::size_t Session::attend() noexcept {
  std::size_t left = 0;
  for (std::size_t i = 0; i < active_.size();) {
    Block& block = *active_[i];
    const int state = block.state.load(std::memory_order_acquire);
    if (state == Block::taken) check(block);
    if (state != Block::left) {
      ++i;
      continue;
    }
    finish(block);
    active_[i] = active_.back();
    active_.pop_back();
    ++left;
  }
  return left;
}

std::size_t Session::refill() noexcept {
  std::size_t taken = 0;
  for (std::size_t i = 0; i < places_; ++i) {
    std::atomic<Block*>& place = ready_[i];
    if (place.load(std::memory_order_relaxed) != nullptr) continue;
    ++taken;
    Block* block = next_block();
    if (block == nullptr) break;
    active_.push_back(block);
    block->state.store(Block::ready, std::memory_order_relaxed);
    place.store(block, std::memory_order_release);
  }
  return taken;
}

Block* Session::next_block() noexcept {
  for (std::size_t tried = 0; tried < idle_count_; ++tried) {
    Block* block = idle_[first_idle_];
    first_idle_ = (first_idle_ + 1) % idle_.size();
    --idle_count_;
    if ((block->offset != 0 || lengthen()) && make_ready(*block)) return block;
    idle_[(first_idle_ + idle_count_++) % idle_.size()] = block;
    // The others are no different.
    if (ring_ == 0) return nullptr;
  }
  return nullptr;
}

bool Session::lengthen() noexcept {
  if (size_ + block_size <= allocated_) return true;
  const std::int64_t time = nanoseconds(CLOCK_MONOTONIC);
  if (time < next_try_) return false;
  // Space is set aside: writing to a page that has none would end the process.
  std::uint64_t by = lengthened_by;
  if (ring_ != 0) by = std::min(by, (ring_ + 1) * block_size - allocated_);
  for (; by >= block_size; by /= 2) {
    by -= by % block_size;
    const int code = posix_fallocate(descriptor_, static_cast<off_t>(allocated_), static_cast<off_t>(by));
    if (code != 0) continue;
    allocated_ += by;
    return true;
  }
  next_try_ = time + 1000 * millisecond;
  return false;
}

bool Session::make_ready(Block& block) noexcept {
  const bool is_new = block.offset == 0;
  const std::uint64_t offset = is_new ? size_ : block.offset;
  if (block.header == nullptr) {
    void* memory =
        mmap(nullptr, block_size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, static_cast<off_t>(offset));
    if (memory == MAP_FAILED) return false;
    block.header = static_cast<BlockHeader*>(memory);
  }
  block.offset = offset;
  if (is_new) size_ += block_size;
  // First what says that the block is in use. All pages are written to, so that they are there to be written to.
  block.header->number = 0;
  std::memset(static_cast<void*>(block.header), 0, block_size);
  block.header->magic = recording::block_magic;
  block.checked = 0;
  return true;
}

void Session::check(Block& block) noexcept {
  BlockHeader& header = *block.header;
  const std::uint64_t complete = __atomic_load_n(&header.complete, __ATOMIC_ACQUIRE);
  if (complete == block.checked) return;
  recording::Check& slot = header.check[header.check[0].size > header.check[1].size ? 1 : 0];
  slot.size = 0;
  slot.checksum = recording::checksum(header, block.records(), complete);
  __atomic_store_n(&slot.size, complete, __ATOMIC_RELEASE);
  block.checked = complete;
}

void Session::finish(Block& block) noexcept {
  check(block);
  used_ = std::max(used_, block.offset + block_size);
  // On its way to the disk: what a loss of power takes is what is younger.
  sync_file_range(descriptor_, static_cast<off_t>(block.offset), block_size, SYNC_FILE_RANGE_WRITE);
  block.state.store(Block::unused, std::memory_order_relaxed);
  if (ring_ == 0 || ring_ > small_ring) {
    munmap(block.header, block_size);
    block.header = nullptr;
  }
  if (ring_ == 0) block.offset = 0;
  idle_[(first_idle_ + idle_count_++) % idle_.size()] = &block;
}

// ---- After a fork ---------------------------------------------------------------------------------------------------

void Session::forked() noexcept {
  // What is mapped is the parent's; and no thread but this one is here.
  for (Block& block : blocks_) {
    if (block.header != nullptr) munmap(block.header, block_size);
    block.header = nullptr;
    block.offset = 0;
    block.state.store(Block::unused, std::memory_order_relaxed);
  }
  if (FileHeader* file = file_.load()) munmap(file, block_size);
  file_.store(nullptr);
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
  active_.clear();
  first_idle_ = idle_count_ = 0;
  for (Block& block : blocks_) idle_[idle_count_++] = &block;
  for (std::atomic<Block*>& place : ready_) place.store(nullptr, std::memory_order_relaxed);
  taken_.store(0);
  used_ = block_size;
  next_try_ = 0;
  generation_.fetch_add(1);
  in_child_ = true;
  sem_init(&stop_, 0, 0);
  start_thread();
}

}  // namespace korvel::record
