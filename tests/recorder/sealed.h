#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "recorder/format/hash.h"

namespace korvel::host {

/// Makes all that a recording says of its own size and all of its checksums right, whatever else it says. One that was
/// not ended stays so.
inline void seal(std::string& bytes) {
  using namespace recording;
  FileHeader header;
  if (bytes.size() < block_size) return;
  std::memcpy(&header, bytes.data(), sizeof(header));
  if (header.text_size > block_size - sizeof(header)) return;
  if (header.ended != 0) header.ended = bytes.size();
  header.blocks = header.last_block = 0;
  for (std::size_t at = block_size; at + block_size <= bytes.size(); at += block_size) {
    BlockHeader block;
    std::memcpy(&block, &bytes[at], sizeof(block));
    const std::uint64_t size = std::min<std::uint64_t>(block.complete, records_per_block);
    block.check[0] = {size, checksum(block, &bytes[at + sizeof(block)], size)};
    std::memcpy(&bytes[at], &block, sizeof(block));
    if (block.number != 0) ++header.blocks;
    header.last_block = std::max(header.last_block, block.number);
  }
  header.text_checksum = checksum(&bytes[sizeof(header)], header.text_size);
  recording::seal(header);
  std::memcpy(bytes.data(), &header, sizeof(header));
}

}  // namespace korvel::host
