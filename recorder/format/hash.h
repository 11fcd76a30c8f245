#pragma once

#include <cstddef>
#include <cstdint>

#include "recorder/format/values.h"

namespace korvel::recording {

/// XXH3 of 64 bits.
std::uint64_t checksum(const void* bytes, std::size_t size, std::uint64_t seed = 0) noexcept;

/// Checksum of a block's records, or of the constant part of its header.
std::uint64_t checksum(const BlockHeader& block, const void* records, std::size_t size) noexcept;

/// Writes the checksums of a header.
void seal(FileHeader& header) noexcept;

/// The word of a result in a record: up to 8 bytes as they are, else their checksum. Of floats, zeros of either sign
/// count as the positive one, and what is not a number as one and the same: builds of the module differ in them.
std::uint64_t result_word(NumberType type, const void* bytes, std::size_t size) noexcept;

}  // namespace korvel::recording
