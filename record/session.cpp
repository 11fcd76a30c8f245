#include "record/session.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <stdexcept>
#include <system_error>

#include "record/ticks.h"

namespace korvel::record {

using recording::FileHeader;

namespace {

constexpr std::int64_t millisecond = 1'000'000;

std::string reason(const std::string& subject, int code) {
  return subject + ": " + std::generic_category().message(code);
}

/// What is made ready is no longer the end of what was recorded.
std::size_t places_in(std::size_t ring) { return ring == 0 ? Places::most : std::min(Places::most, ring / 4); }

}  // namespace

Session::Session(std::string folder, std::uint64_t most_bytes, std::string text)
    : folder_(std::move(folder)),
      text_(std::move(text)),
      file_(most_bytes),
      ready_(places_in(file_.ring())),
      spare_(places_in(file_.ring())) {
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

Session::~Session() {
  sem_destroy(&stop_);
  sem_destroy(&tried_);
}

void Session::end(bool cut_short) noexcept {
  if (has_thread_) {
    sem_post(&stop_);
    pthread_join(thread_, nullptr);
    has_thread_ = false;
  }
  // Of a child that ends before it has a file there is to be one that says what is missing.
  if (file_.header() == nullptr && early_lost_.load() > 0) file_.make(folder_, text_);
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
  count_early();
  file_.end(!in_use);
}

// ---- Of those who record --------------------------------------------------------------------------------------------

Block* Session::take(std::uint32_t stream) noexcept {
  Block* block = ready_.take();
  if (block == nullptr) return nullptr;
  block->header->stream = stream;
  block->header->ticks = ticks();
  block->header->number = taken_.fetch_add(1, std::memory_order_relaxed) + 1;
  block->state.store(Block::taken, std::memory_order_release);
  return block;
}

void Session::count(std::uint64_t FileHeader::*counter) noexcept {
  if (FileHeader* file = file_.header()) {
    __atomic_fetch_add(&(file->*counter), 1, __ATOMIC_RELAXED);
  } else {
    (counter == &FileHeader::lost ? early_lost_ : early_overlapped_).fetch_add(1, std::memory_order_relaxed);
  }
}

void Session::count_early() noexcept {
  FileHeader* file = file_.header();
  __atomic_fetch_add(&file->lost, early_lost_.exchange(0, std::memory_order_relaxed), __ATOMIC_RELAXED);
  __atomic_fetch_add(&file->overlapped, early_overlapped_.exchange(0, std::memory_order_relaxed), __ATOMIC_RELAXED);
}

// ---- Of the thread that writes --------------------------------------------------------------------------------------

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
    const bool made = file_.make(folder_, text_);
    failure_ = errno;
    if (made) {
      refill();
      // With the start, which is some milliseconds ago, how fast the counter is.
      file_.header()->last = now();
    }
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
    if (file_.header() == nullptr) {
      // In a child that does not call, or not yet.
      if (early_lost_.load(std::memory_order_relaxed) == 0) continue;
      // A folder that has no room now may have some later.
      if (!file_.make(folder_, text_)) {
        pause = 1000 * millisecond;
        continue;
      }
    }
    const std::size_t left = attend();
    const std::size_t taken = refill();
    file_.save();
    count_early();
    file_.header()->last = now();
    pause = 4 * (left + taken) > ready_.count() ? shortest : std::min(2 * pause, longest);
  }
}

std::size_t Session::attend() noexcept {
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

std::size_t Session::refill() noexcept {
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

// ---- After a fork ---------------------------------------------------------------------------------------------------

void Session::forked() noexcept {
  // No thread but this one is here.
  file_.forget();
  active_.clear();
  ready_.clear();
  spare_.clear();
  taken_ = early_lost_ = early_overlapped_ = 0;
  generation_.fetch_add(1);
  in_child_ = true;
  sem_init(&stop_, 0, 0);
  start_thread();
}

}  // namespace korvel::record
