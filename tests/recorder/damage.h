#pragma once

#include <cstddef>
#include <cstring>
#include <random>
#include <string>

#include "contract/operations.h"
#include "tests/recorder/sealed.h"

namespace korvel::host {

/// Damages recordings in ways that are drawn.
class Damager {
 public:
  explicit Damager(unsigned seed) : random_(seed) {}

  void damage(std::string& file) {
    using namespace recording;
    if (file.size() < 16) return;
    const std::size_t blocks = file.size() / block_size;
    const std::size_t at = place(file);
    switch (below(8)) {
      case 0:
        return flip(file[at]);
      case 1: {
        constexpr std::uint64_t wild[]{0,          1,      0xff, 0xffff, 0x7fffffff, 0xffffffff, ~std::uint64_t{0},
                                       1ULL << 63, 0x10000};
        const std::uint64_t value = wild[below(std::size(wild))] + below(3);
        const std::size_t size = std::size_t{1} << below(4);
        std::memcpy(&file[std::min(at, file.size() - 8) / size * size], &value, size);
        return;
      }
      case 2:
        return file.resize(at);
      case 3:
        return damage_record(file);
      case 4: {  // zeros, or not in use
        const std::size_t block = block_size * (1 + below(blocks + 1));
        if (block + block_size > file.size()) return;
        if (below(2) == 0) {
          file.replace(block, block_size, block_size, '\0');
        } else {
          file.replace(block + offsetof(BlockHeader, number), sizeof(BlockHeader::number), 8, '\0');
        }
        return;
      }
      case 5:
        return flip(file[below(sizeof(FileHeader))]);
      default: {
        if (blocks < 2) return;
        const std::string one = file.substr(block_size * below(blocks), block_size);
        file.replace(block_size * below(blocks + 1), block_size, one);
      }
    }
  }

  /// Several times, and half of them with checksums made right again, so that the damage comes further.
  void damage_further(std::string& file) {
    using recording::FileHeader;
    for (std::size_t n = 1 + below(4); n > 0; --n) damage(file);
    if (below(2) == 0 && file.size() >= sizeof(FileHeader)) {
      std::memset(&file[offsetof(FileHeader, ended)], 0, sizeof(FileHeader::ended));
      std::memset(&file[offsetof(FileHeader, checksum)], 0, sizeof(FileHeader::checksum));
    }
    if (below(2) == 0) seal(file);
  }

 private:
  std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random_); }

  void flip(char& byte) { byte = static_cast<char>(byte ^ (1 << below(8))); }

  /// Most often where something is said of the rest.
  std::size_t place(const std::string& file) {
    using namespace recording;
    const std::size_t block = block_size * below(file.size() / block_size + 1);
    switch (below(4)) {
      case 0:
        return std::min(block + below(sizeof(FileHeader)), file.size() - 1);
      case 1:
        return std::min(block + below(sizeof(BlockHeader) + sizeof(RecordHeader)), file.size() - 1);
      case 2:
        return below(std::min(file.size(), block_size));
      default:
        return below(file.size());
    }
  }

  /// Operation, flags or an index of a record.
  void damage_record(std::string& file) {
    using namespace recording;
    const std::size_t blocks = file.size() / block_size;
    if (blocks < 2) return;
    std::size_t at = block_size * (1 + below(blocks - 1)) + sizeof(BlockHeader);
    for (std::size_t records = below(200); records > 0 && at + 64 <= file.size(); --records) {
      RecordHeader header;
      std::memcpy(&header, &file[at], sizeof(header));
      if (header.size < sizeof(header) || at + header.size + 64 > file.size()) break;
      at += header.size;
    }
    if (at + 64 > file.size()) return;
    switch (below(3)) {
      case 0:
        file[at + offsetof(RecordHeader, operation)] = static_cast<char>(below(korvel::operation_count));
        return;
      case 1:
        return flip(file[at + offsetof(RecordHeader, flags)]);
      default:
        file[at + sizeof(RecordHeader) + below(8)] = static_cast<char>(below(256));
    }
  }

  std::mt19937_64 random_;
};

}  // namespace korvel::host
