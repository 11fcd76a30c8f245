/// Reads and replays recordings that were damaged: flipped bits, of the header too, wild numbers, cut ends, blocks of
/// zeros, blocks that are there twice or in another's place; half of them with checksums made right again, so that the
/// damage comes further. Each ends with what is read or with an Error. To be run where memory is watched.
///
///   damaged_recordings MODULE SECONDS SEED RECORDING...    the recordings are best short ones, of all kinds

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <sstream>

#include "recorder/replay/playback.h"
#include "recorder/replay/player.h"
#include "recorder/replay/recorded_motion.h"
#include "recorder/replay/slice.h"
#include "recorder/replay/statistics.h"
#include "tests/recorder/sealed.h"

namespace {

using namespace korvel::host;
using korvel::recording::block_size;
using korvel::recording::BlockHeader;
using korvel::recording::FileHeader;
using korvel::recording::RecordHeader;

class Damager {
 public:
  explicit Damager(unsigned seed) : random_(seed) {}

  void damage(std::string& file) {
    for (std::size_t n = 1 + below(4); n > 0; --n) damage_once(file);
    if (below(2) == 0) make_unended(file);
    if (below(2) == 0) seal(file);
  }

 private:
  std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random_); }

  /// Most often where something is said of the rest.
  std::size_t place(const std::string& file) {
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

  void flip(char& byte) { byte = static_cast<char>(byte ^ (1 << below(8))); }

  void damage_once(std::string& file) {
    if (file.size() < 16) return;
    const std::size_t at = place(file);
    switch (below(8)) {
      case 7:
        flip(file[below(sizeof(FileHeader))]);
        return;
      case 6: {
        const std::size_t block = block_size * (1 + below(file.size() / block_size + 1));
        if (block + block_size <= file.size()) file.replace(block, block_size, block_size, '\0');
        return;
      }
      case 5:
        return damage_record(file);
      case 0:
        file[at] = static_cast<char>(file[at] ^ (1 << static_cast<int>(below(8))));
        return;
      case 1: {
        constexpr std::uint64_t wild[]{0,          1,      0xff, 0xffff, 0x7fffffff, 0xffffffff, ~std::uint64_t{0},
                                       1ULL << 63, 0x10000};
        const std::uint64_t value = wild[below(std::size(wild))] + below(3);
        const std::size_t size = std::size_t{1} << below(4);
        std::memcpy(&file[std::min(at, file.size() - 8) / size * size], &value, size);
        return;
      }
      case 2:
        file.resize(at);
        return;
      default: {
        const std::size_t blocks = file.size() / block_size;
        if (blocks < 2) return;
        const std::string one = file.substr(block_size * below(blocks), block_size);
        file.replace(block_size * below(blocks), block_size, one);
      }
    }
  }

  /// Operation, flags or an index of a record.
  void damage_record(std::string& file) {
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
    constexpr std::size_t operation = offsetof(RecordHeader, operation);
    constexpr std::size_t flags = offsetof(RecordHeader, flags);
    switch (below(3)) {
      case 0:
        file[at + operation] = static_cast<char>(below(korvel::operation_count));
        return;
      case 1:
        file[at + flags] = static_cast<char>(file[at + flags] ^ (1 << static_cast<int>(below(8))));
        return;
      default:
        file[at + sizeof(RecordHeader) + below(8)] = static_cast<char>(below(256));
    }
  }

  static void make_unended(std::string& file) {
    if (file.size() < sizeof(FileHeader)) return;
    std::memset(&file[offsetof(FileHeader, ended)], 0, sizeof(std::uint64_t));
    std::memset(&file[offsetof(FileHeader, checksum)], 0, sizeof(std::uint64_t));
  }

  std::mt19937_64 random_;
};

/// All that the command does with a file. Returns whether anything could be read.
bool is_read(const std::filesystem::path& path, const char* module, const std::filesystem::path& cut) try {
  const RecordingFile recording(path);
  Statistics statistics(recording);
  RecordedMotion motion(recording, 1);
  for_each_call(recording, {}, [&](const RecordedCall& call, bool counts) {
    statistics.add(call, counts);
    if (motion.add(call) != RecordedMotion::Row::unchanged) motion.row();
  });
  statistics.end();
  statistics.text();
  statistics.json();
  // The player runs in this process, where memory is watched.
  Player player(recording, Module(module), true);
  bool is_cut = false;
  recording.for_each([&](const RecordedCall& call) {
    is_cut = player.play(call, true);
    return !is_cut;
  });
  Outputs outputs;
  OutputFile file(outputs.claim(cut));
  if (is_cut) {
    write_slice(recording, player.provenance().last(), file);
  } else {
    write_window(recording, Module(module), {0.001}, file);
  }
  file.commit();
  RecordedSamples samples(recording, 1, Module(module), {}, [](const RecordedSample&) {});
  recording.for_each([&](const RecordedCall& call) {
    samples.add(call);
    return true;
  });
  samples.end();
  return true;
} catch (const Error&) {
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) return 2;
  std::vector<std::string> recordings;
  for (int i = 4; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    recordings.push_back(bytes.str());
  }
  Damager damager(static_cast<unsigned>(std::atoi(argv[3])));
  const int memory = memfd_create("damaged", MFD_CLOEXEC);
  const std::filesystem::path path = "/proc/self/fd/" + std::to_string(memory);
  const std::filesystem::path cut = std::filesystem::temp_directory_path() / ("damaged-" + std::to_string(getpid()));
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(std::atoi(argv[2]));
  std::size_t files = 0;
  std::size_t read = 0;
  while (std::chrono::steady_clock::now() < end) {
    std::string file = recordings[files % recordings.size()];
    damager.damage(file);
    const auto size = static_cast<off_t>(file.size());
    if (ftruncate(memory, 0) != 0 || pwrite(memory, file.data(), file.size(), 0) != size) return 1;
    if (is_read(path, argv[1], cut)) ++read;
    ++files;
  }
  std::filesystem::remove(cut);
  std::cout << "damaged recordings: " << files << ", of which " << read << " could be read, the others were refused\n";
}
