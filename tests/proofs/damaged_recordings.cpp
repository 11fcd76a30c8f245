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
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "recorder/replay/playback.h"
#include "recorder/replay/player.h"
#include "recorder/replay/recorded_motion.h"
#include "recorder/replay/statistics.h"
#include "tests/recorder/damage.h"

namespace {

using namespace korvel::host;
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
    damager.damage_further(file);
    const auto size = static_cast<off_t>(file.size());
    if (ftruncate(memory, 0) != 0 || pwrite(memory, file.data(), file.size(), 0) != size) return 1;
    if (is_read(path, argv[1], cut)) ++read;
    ++files;
  }
  std::filesystem::remove(cut);
  std::cout << "damaged recordings: " << files << ", of which " << read << " could be read, the others were refused\n";
}
