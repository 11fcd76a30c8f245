#include "recorder/module/block_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include "recorder/format/hash.h"
#include "recorder/module/ticks.h"

namespace korvel::record {

using recording::block_size;
using recording::BlockHeader;
using recording::FileHeader;

namespace {

constexpr std::int64_t second = 1'000'000'000;
constexpr std::uint64_t lengthened_by = 16 * block_size;

/// There is a block for the header, and a few must be there to be taken in turns.
std::size_t blocks_in(std::uint64_t bytes) {
  return bytes == 0 ? 0 : std::max<std::size_t>(bytes / block_size, 16) - 1;
}

off_t offset_of(std::uint32_t index) { return static_cast<off_t>(index) * static_cast<off_t>(block_size); }

/// The name of a file is kept, as well.
void save_folder(const char* folder) noexcept {
  const int descriptor = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

}  // namespace

void say(std::string_view text) noexcept {
  const auto piece = [](std::string_view part) { return iovec{const_cast<char*>(part.data()), part.size()}; };
  const std::array<iovec, 3> line{piece("korvel recorder: "), piece(text), piece("\n")};
  [[maybe_unused]] const ssize_t ignored = writev(STDERR_FILENO, line.data(), line.size());
}

BlockFile::BlockFile(std::uint64_t most_bytes)
    : ring_(blocks_in(most_bytes)), blocks_(ring_ == 0 ? most_blocks : std::min(ring_, most_blocks)), finished_(ring_) {
  for (Block& block : blocks_) free_.push_back(&block);
}

BlockFile::~BlockFile() {
  for (const Block& block : blocks_) {
    if (block.header != nullptr) munmap(block.header, block_size);
  }
  if (header_ != nullptr) munmap(header_, block_size);
}

bool BlockFile::make(const std::string& folder, const std::string& text) noexcept {
  const std::time_t seconds = std::time(nullptr);
  std::tm date{};
  gmtime_r(&seconds, &date);
  std::array<char, PATH_MAX> path{};
  for (int i = 0; i < 1000 && descriptor_ < 0; ++i) {
    const int length = std::snprintf(path.data(), path.size(), "%s/korvel-%04d%02d%02d-%02d%02d%02d-%d-%d.rec",
                                     folder.c_str(), date.tm_year + 1900, date.tm_mon + 1, date.tm_mday, date.tm_hour,
                                     date.tm_min, date.tm_sec, getpid(), i);
    if (length < 0 || static_cast<std::size_t>(length) >= path.size()) {
      errno = ENAMETOOLONG;
      return false;
    }
    descriptor_ = open(path.data(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor_ < 0 && errno != EEXIST) return false;
  }
  if (descriptor_ < 0) return false;
  struct stat made {};
  const int full = fstat(descriptor_, &made) != 0 ? errno : posix_fallocate(descriptor_, 0, block_size);
  void* memory = full != 0 ? MAP_FAILED : mmap(nullptr, block_size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
  if (memory == MAP_FAILED) {
    const int code = full != 0 ? full : errno;
    unlink(path.data());
    close(descriptor_);
    descriptor_ = -1;
    errno = code;
    return false;
  }
  device_ = made.st_dev;
  inode_ = made.st_ino;
  allocated_ = block_size;
  std::memcpy(static_cast<char*>(memory) + sizeof(FileHeader), text.data(), text.size());
  FileHeader header{};
  header.version = recording::format_version;
  header.block_size = block_size;
  header.text_checksum = recording::checksum(text.data(), text.size());
  header.text_size = static_cast<std::uint32_t>(text.size());
  header.process = static_cast<std::uint32_t>(getpid());
  header.start = header.last = now();
  header.magic = recording::file_magic;
  recording::seal(header);
  auto* const file = static_cast<FileHeader*>(memory);
  // A file without it is none: it is written when all else is there.
  std::memcpy(static_cast<char*>(memory) + sizeof(header.magic), &header.version,
              sizeof(header) - sizeof(header.magic));
  __atomic_store_n(&file->magic, header.magic, __ATOMIC_RELEASE);
  header_ = file;
  is_longer_ = true;
  next_save_ = 0;
  save();
  next_save_ = 0;
  save_folder(folder.c_str());
  return true;
}

bool BlockFile::has_descriptor() const noexcept {
  struct stat found {};
  return descriptor_ >= 0 && fstat(descriptor_, &found) == 0 && found.st_dev == device_ && found.st_ino == inode_;
}

int BlockFile::descriptor() noexcept {
  if (!has_descriptor() && std::exchange(descriptor_, -1) >= 0) {
    say("the host has closed the descriptor of the recording: no more is recorded");
  }
  return descriptor_;
}

Block* BlockFile::next() noexcept {
  if (descriptor() < 0) return nullptr;
  const bool is_new = (ring_ == 0 || made_ < ring_) && lengthen();
  // A file that can become no longer is a shorter ring.
  if (!is_new && finished_.empty()) return nullptr;
  const std::uint32_t index = is_new ? made_ + 1 : finished_.front();
  if (free_.empty()) return nullptr;
  Block* block = free_.back();
  if (!map(*block, index)) return nullptr;
  free_.pop_back();
  if (is_new) {
    made_ = index;
  } else {
    finished_.pop_front();
    --kept_count_;
  }
  return block;
}

bool BlockFile::lengthen() noexcept {
  if ((std::uint64_t{made_} + 2) * block_size <= allocated_) return true;
  const std::int64_t time = nanoseconds(CLOCK_MONOTONIC);
  if (time < next_attempt_) return false;
  // Space is set aside: writing to a page that has none would end the process.
  std::uint64_t by = lengthened_by;
  if (ring_ != 0) by = std::min(by, (ring_ + 1) * block_size - allocated_);
  for (; by >= block_size; by /= 2) {
    by -= by % block_size;
    const int code = posix_fallocate(descriptor(), static_cast<off_t>(allocated_), static_cast<off_t>(by));
    if (code != 0) continue;
    allocated_ += by;
    is_longer_ = true;
    return true;
  }
  next_attempt_ = time + second;
  return false;
}

bool BlockFile::map(Block& block, std::uint32_t index) noexcept {
  void* memory = mmap(nullptr, block_size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor(), offset_of(index));
  if (memory == MAP_FAILED) return false;
  block.header = static_cast<BlockHeader*>(memory);
  block.index = index;
  // First what says that the block is in use. All pages are written to, so that they are there to be written to.
  __atomic_store_n(&block.header->number, 0, __ATOMIC_RELEASE);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  std::memset(static_cast<void*>(block.header), 0, block_size);
  __atomic_store_n(&block.header->magic, recording::block_magic, __ATOMIC_RELEASE);
  block.checked = 0;
  return true;
}

void BlockFile::check(Block& block) noexcept {
  BlockHeader& header = *block.header;
  const std::uint64_t complete = __atomic_load_n(&header.complete, __ATOMIC_ACQUIRE);
  if (complete == block.checked) return;
  recording::Check& slot = header.check[header.check[0].size > header.check[1].size ? 1 : 0];
  slot.size = 0;
  slot.checksum = recording::checksum(header, block.records(), complete);
  __atomic_store_n(&slot.size, complete, __ATOMIC_RELEASE);
  block.checked = complete;
}

void BlockFile::keep(const Block& block) noexcept {
  kept_ = std::max(kept_, block.index);
  ++kept_count_;
}

void BlockFile::finish(Block& block) noexcept {
  check(block);
  keep(block);
  // The block starts on its way to the disk, so that a loss of power takes only what is younger.
  sync_file_range(descriptor(), offset_of(block.index), block_size, SYNC_FILE_RANGE_WRITE);
  block.state.store(Block::unused, std::memory_order_relaxed);
  if (ring_ != 0) finished_.push_back(block.index);
  munmap(block.header, block_size);
  block.header = nullptr;
  free_.push_back(&block);
}

void BlockFile::save() noexcept {
  if (!is_longer_) return;
  const std::int64_t time = nanoseconds(CLOCK_MONOTONIC);
  if (time < next_save_) return;
  // Saving this page also saves the file's metadata. The pages of blocks are left alone, because a thread that writes
  // to a page that was just saved incurs a page fault and waits.
  msync(header(), block_size, MS_SYNC);
  is_longer_ = false;
  next_save_ = nanoseconds(CLOCK_MONOTONIC) + second;
}

void BlockFile::end(bool ended, std::uint64_t last_block) noexcept {
  FileHeader* file = header();
  if (file == nullptr) return;
  const off_t size = offset_of(kept_ + 1);
  file->last = now();
  // Blocks that nobody has taken are cut off; where they cannot be, they say so.
  const bool is_cut = ftruncate(descriptor(), size) == 0;
  if (ended && is_cut) {
    FileHeader closed = *file;
    closed.blocks = kept_count_;
    closed.last_block = last_block;
    closed.ended = static_cast<std::uint64_t>(size);
    recording::seal(closed);
    // Last comes the number that makes the checksum count: a process may be killed at any instruction.
    const std::uint64_t ended_at = std::exchange(closed.ended, 0);
    *file = closed;
    __atomic_store_n(&file->ended, ended_at, __ATOMIC_RELEASE);
  }
  close(descriptor());
  descriptor_ = -1;
}

}  // namespace korvel::record
