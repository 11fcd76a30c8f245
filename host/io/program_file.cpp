#include "host/io/program_file.h"

#include <elf.h>

#include <cstring>
#include <fstream>

namespace korvel::host {

namespace {

struct Start {
  Elf32_Ehdr header{};  ///< zeros where the file ends before it does
  bool is_whole = false;

  bool has_magic() const { return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0; }
};

Start start_of(const std::filesystem::path& path) {
  Start start;
  std::ifstream file(path, std::ios::binary);
  start.is_whole = static_cast<bool>(file.read(reinterpret_cast<char*>(&start.header), sizeof(start.header)));
  return start;
}

}  // namespace

bool is_program(const std::filesystem::path& path) { return start_of(path).has_magic(); }

bool is_shared_library(const std::filesystem::path& path) {
  const Start start = start_of(path);
  return start.is_whole && start.has_magic() && start.header.e_type == ET_DYN;
}

}  // namespace korvel::host
