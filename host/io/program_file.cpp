#include "host/io/program_file.h"

#include <elf.h>

#include <array>
#include <cstring>
#include <fstream>

namespace korvel::host {

bool is_program(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::array<char, SELFMAG> magic{};
  return file.read(magic.data(), magic.size()) && std::memcmp(magic.data(), ELFMAG, SELFMAG) == 0;
}

}  // namespace korvel::host
