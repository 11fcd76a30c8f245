#include "recording/hash.h"

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

std::int32_t without_sign_of_zero(std::int32_t bits) noexcept {
  constexpr std::int32_t negative_zero = std::numeric_limits<std::int32_t>::min();
  return bits == negative_zero ? 0 : bits;
}

/// Copies floats, zeros as positive ones.
void copy(const char* from, char* to, std::size_t count) noexcept {
  const std::size_t in_whole_lanes = count - count % in_lanes;
  std::size_t i = 0;
  for (; i < in_whole_lanes; i += in_lanes) {
    Lanes bits;
    std::memcpy(&bits, from + i * sizeof(float), sizeof(bits));
    bits &= bits != std::numeric_limits<std::int32_t>::min();
    std::memcpy(to + i * sizeof(float), &bits, sizeof(bits));
  }
  for (; i < count; ++i) {
    std::int32_t bits = 0;
    std::memcpy(&bits, from + i * sizeof(float), sizeof(bits));
    bits = without_sign_of_zero(bits);
    std::memcpy(to + i * sizeof(float), &bits, sizeof(bits));
  }
}

}  // namespace

std::uint64_t result_word(const float* values, std::size_t count) noexcept {
  std::array<char, in_piece * sizeof(float)> piece;
  const auto* bytes = reinterpret_cast<const char*>(values);
  if (count <= sizeof(std::uint64_t) / sizeof(float)) {
    copy(bytes, piece.data(), count);
    return result_word(static_cast<const void*>(piece.data()), count * sizeof(float));
  }
  std::uint64_t hash = 0;
  for (std::size_t done = 0; done < count; done += in_piece) {
    const std::size_t n = std::min(count - done, in_piece);
    copy(bytes + done * sizeof(float), piece.data(), n);
    hash = checksum(piece.data(), n * sizeof(float), hash);
  }
  return hash;
}

std::uint64_t checksum(const void* bytes, std::size_t size, std::uint64_t seed) noexcept {
  return XXH3_64bits_withSeed(bytes, size, seed);
}

std::uint64_t checksum(const BlockHeader& block, const void* records, std::size_t size) noexcept {
  return checksum(records, size, checksum(&block, offsetof(BlockHeader, complete)));
}

std::uint64_t result_word(const void* bytes, std::size_t size) noexcept {
  std::uint64_t word = 0;
  if (size > sizeof(word)) return checksum(bytes, size);
  std::memcpy(&word, bytes, size);
  return word;
}

}  // namespace korvel::recording
