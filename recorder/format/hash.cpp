#include "recorder/format/hash.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

// All of the library is in its header: the recorder needs no other file than the module does.
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace korvel::recording {

namespace {

using Lanes [[gnu::vector_size(16)]] = std::int32_t;
constexpr std::size_t in_lanes = sizeof(Lanes) / sizeof(float);
constexpr std::size_t in_piece = 1024;

constexpr std::int32_t magnitude = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t infinity = 0x7f800000;
constexpr std::int32_t nan = 0x7fc00000;

/// Bits of floats, zeros as positive ones, and every one that is not a number as the same.
template <typename Bits>
Bits alike(Bits bits) noexcept {
  const Bits size = bits & magnitude;
  return size > infinity ? Bits{} + nan : size == 0 ? Bits{} : bits;
}

void copy(const char* from, char* to, std::size_t count) noexcept {
  const std::size_t in_whole_lanes = count - count % in_lanes;
  std::size_t i = 0;
  const auto copy_one = [&](auto bits) {
    std::memcpy(&bits, from + i * sizeof(float), sizeof(bits));
    bits = alike(bits);
    std::memcpy(to + i * sizeof(float), &bits, sizeof(bits));
    i += sizeof(bits) / sizeof(float);
  };
  while (i < in_whole_lanes) copy_one(Lanes{});
  while (i < count) copy_one(std::int32_t{});
}

}  // namespace

std::uint64_t checksum(const void* bytes, std::size_t size, std::uint64_t seed) noexcept {
  return XXH3_64bits_withSeed(bytes, size, seed);
}

std::uint64_t checksum(const BlockHeader& block, const void* records, std::size_t size) noexcept {
  return checksum(records, size, checksum(&block, offsetof(BlockHeader, complete)));
}

void seal(FileHeader& header) noexcept {
  header.start_checksum = checksum(&header, offsetof(FileHeader, last));
  header.checksum = header.ended == 0 ? 0 : checksum(&header, offsetof(FileHeader, checksum));
}

std::uint64_t result_word(NumberType type, const void* bytes, std::size_t size) noexcept {
  const auto* from = static_cast<const char*>(bytes);
  const bool is_real = type == NumberType::real;
  std::uint64_t word = 0;
  if (size <= sizeof(word)) {
    std::array<char, sizeof(word)> few{};
    if (is_real)
      copy(from, few.data(), size / sizeof(float));
    else
      std::memcpy(few.data(), from, size);
    std::memcpy(&word, few.data(), sizeof(word));
    return word;
  }
  if (!is_real) return checksum(bytes, size);
  std::array<char, in_piece * sizeof(float)> piece;
  for (std::size_t done = 0; done < size; done += piece.size()) {
    const std::size_t n = std::min(size - done, piece.size());
    copy(from + done, piece.data(), n / sizeof(float));
    word = checksum(piece.data(), n, word);
  }
  return word;
}

}  // namespace korvel::recording
