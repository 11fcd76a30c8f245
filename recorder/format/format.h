#pragma once

/// The layout of a recording in its file; docs/recording.md describes it in words. All numbers are little-endian.

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace korvel::recording {

inline constexpr std::uint64_t file_magic = 0x0a524c4556524f4b;  // "KORVELR", line feed
inline constexpr std::uint32_t block_magic = 0x4b4c424b;         // "KBLK"
inline constexpr std::uint32_t format_version = 2;

/// The file is its header, padded to one block, then blocks.
inline constexpr std::size_t block_size = 1 << 16;

/// One instant by three clocks: the counter by which calls are timed, the machine's since it was started, the world's.
struct Instant {
  std::uint64_t ticks;
  std::int64_t monotonic_ns;
  std::int64_t unix_ns;
};

/// The start of the file; `text_size` bytes of JSON follow.
struct FileHeader {
  std::uint64_t magic;
  std::uint32_t version;
  std::uint32_t block_size;
  std::uint64_t text_checksum;
  std::uint32_t text_size;
  std::uint32_t process;
  Instant start;
  Instant last;              ///< the writer was last awake
  std::uint64_t lost;        ///< calls that were not recorded, there being no block for them
  std::uint64_t overlapped;  ///< calls that were not recorded, another thread being in a call of the same object
  std::uint64_t ended;       ///< the size of the file, once the recording was ended in order
  // Since version 2. The next two are 0 until the recording is ended in order, and so is the last one.
  std::uint64_t blocks;          ///< how many blocks of records there are
  std::uint64_t last_block;      ///< the largest number that a block was given
  std::uint64_t start_checksum;  ///< of everything before `last`
  std::uint64_t checksum;        ///< of everything before it
};
static_assert(sizeof(FileHeader) == 136 && std::is_trivially_copyable_v<FileHeader>);

constexpr std::size_t header_size(std::uint32_t version) {
  return version == 1 ? offsetof(FileHeader, blocks) : sizeof(FileHeader);
}

/// Checksum of the first bytes of a block's records, as far as the writer has come.
struct Check {
  std::uint64_t size;
  std::uint64_t checksum;
};

/// The start of a block; records follow. The blocks of a stream are in the order of time, and so are their records.
struct BlockHeader {
  std::uint32_t magic;
  std::uint32_t stream;
  std::uint64_t number;        ///< from 1 without gaps, in the order in which blocks are taken; 0: not in use
  std::uint64_t ticks;         ///< when it was taken
  std::uint64_t complete;      ///< bytes of records whose calls have returned
  std::uint64_t begun;         ///< bytes of records; the last one's call may not have returned
  std::array<Check, 2> check;  ///< written in turns, so that one is whole at any time
};
static_assert(sizeof(BlockHeader) == 72 && std::is_trivially_copyable_v<BlockHeader>);

inline constexpr std::size_t records_per_block = block_size - sizeof(BlockHeader);  // in bytes

enum RecordFlag : std::uint16_t {
  has_result = 1,      ///< `result` holds it, or its hash
  result_in_full = 2,  ///< the result follows the arguments
  has_thrown = 4,
  restated = 8,            ///< no call: an input as it was when the block began
  incomplete_inputs = 16,  ///< the arguments were too few, or a name too long
  out_of_memory = 32,      ///< what it has thrown is std::bad_alloc
  flushes_denormals = 64,  ///< the host had denormal results flushed to zero
  overlapped = 128,        ///< another thread was in a call of the same object, now or before: its values are not known
  takes_denormals_as_zero = 256
};

/// Header of a call. The arguments follow, and the result if it is there in full; each is padded to multiples of 8
/// bytes.
struct RecordHeader {
  std::uint32_t size;  ///< of the whole record
  std::uint16_t operation;
  std::uint16_t flags;
  std::uint32_t object;          ///< from 1
  std::uint32_t call;            ///< of the object, from 1; what is left out was lost
  std::uint16_t thread;          ///< tells threads apart, most times
  std::uint16_t shared_changes;  ///< how many calls of `create` and setBodyInertia there had been
  std::uint32_t took;            ///< ticks, at most `longest`
  std::uint64_t ticks;           ///< when it was called
  std::uint64_t result;          ///< of at most 8 bytes itself, else its hash
};
static_assert(sizeof(RecordHeader) == 40 && std::is_trivially_copyable_v<RecordHeader>);

inline constexpr std::uint32_t not_returned = 0xffffffff;
inline constexpr std::uint32_t longest = not_returned - 1;

constexpr std::size_t padded(std::size_t bytes) { return (bytes + 7) & ~std::size_t{7}; }

}  // namespace korvel::recording
