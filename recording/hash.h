#pragma once

#include <cstddef>
#include <cstdint>

#include "recording/format.h"

namespace korvel::recording {

/// XXH3 of 64 bits.
std::uint64_t checksum(const void* bytes, std::size_t size, std::uint64_t seed = 0) noexcept;

/// Of a block's records; also of what its header says and does not change.
std::uint64_t checksum(const BlockHeader& block, const void* records, std::size_t size) noexcept;

/// What a record says of a result: up to 8 bytes as they are, else their checksum. Of floats, zeros of either sign
/// count as the positive one, and what is not a number as one and the same: builds of the module differ in them.
std::uint64_t result_word(const float* values, std::size_t count) noexcept;
std::uint64_t result_word(const void* bytes, std::size_t size) noexcept;

}  // namespace korvel::recording
