#include "host/robot/identity.h"

#include <fmt/format.h>

#include "host/robot/elf_file.h"
#include "motion/csv/error.h"
#include "motion/csv/printable.h"

namespace korvel::host {

Identity identity(const std::filesystem::path& module) try {
  const ElfFile file(module);
  Identity result{module};
  for (const ElfFile::Note& note : file.notes) {
    // plugin/identity.cpp writes it.
    if (note.owner == "korvel" && note.type == 1) result.version = note.bytes.substr(0, note.bytes.find('\0'));
    if (note.owner == ELF_NOTE_GNU && note.type == NT_GNU_BUILD_ID) {
      result.build_id.clear();
      for (const char byte : note.bytes) result.build_id += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    }
  }
  return result;
} catch (const Error&) {
  return {module};
}

std::string lines_of(const Identity& identity) {
  return fmt::format("{}: version {}\nbuild {}\n", printable(identity.path.string()), printable(identity.version),
                     printable(identity.build_id));
}

}  // namespace korvel::host
