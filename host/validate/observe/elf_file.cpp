#include "host/validate/observe/elf_file.h"

#include <cstring>
#include <fstream>
#include <sstream>

#include "host/validate/core/require.h"

namespace korvel::validate {

template <typename Record>
std::vector<Record> ElfFile::records(std::size_t offset, std::size_t count) const {
  require(offset <= bytes_.size() && count <= (bytes_.size() - offset) / sizeof(Record), "the file is cut short");
  std::vector<Record> all(count);
  if (count > 0) std::memcpy(all.data(), bytes_.data() + offset, count * sizeof(Record));
  return all;
}

std::string ElfFile::text(const Section& strings, std::size_t offset) const {
  require(offset < strings.sh_size && strings.sh_offset + offset < bytes_.size(), "a name lies outside of the file");
  return bytes_.c_str() + strings.sh_offset + offset;
}

ElfFile::ElfFile(const std::filesystem::path& path) {
  std::ostringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  bytes_ = bytes.str();

  constexpr unsigned char native = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
  require(bytes_.size() > EI_NIDENT && bytes_.compare(0, SELFMAG, ELFMAG) == 0, "not an ELF file");
  const auto header = records<ElfW(Ehdr)>(0, 1).front();
  require(header.e_ident[EI_CLASS] == native, "not for this machine: {} bits", 32 * header.e_ident[EI_CLASS]);
  segments_ = records<Segment>(header.e_phoff, header.e_phnum);
  const auto sections = records<Section>(header.e_shoff, header.e_shnum);
  for (const Section& section : sections) {
    if (section.sh_type != SHT_DYNAMIC && section.sh_type != SHT_DYNSYM) continue;
    require(section.sh_link < sections.size(), "a section of names is missing");
    const Section& strings = sections[section.sh_link];
    if (section.sh_type == SHT_DYNAMIC) {
      dynamic_strings_ = strings;
      dynamic_ = records<DynamicEntry>(section.sh_offset, section.sh_size / sizeof(DynamicEntry));
      continue;
    }
    for (const auto& symbol : records<ElfW(Sym)>(section.sh_offset, section.sh_size / sizeof(ElfW(Sym)))) {
      symbols_.push_back({text(strings, symbol.st_name), static_cast<unsigned char>(symbol.st_info & 0xf),
                          static_cast<unsigned char>(symbol.st_info >> 4), symbol.st_shndx != SHN_UNDEF});
    }
  }
  // A loader finds both by other ways, this reader does not.
  if (dynamic_.empty() || symbols_.empty()) throw NotPossible("the file has no table of its sections");
}

std::vector<std::string> ElfFile::needed() const {
  std::vector<std::string> names;
  for (const DynamicEntry& entry : dynamic_) {
    if (entry.d_tag == DT_NEEDED) names.push_back(text(dynamic_strings_, entry.d_un.d_val));
  }
  return names;
}

}  // namespace korvel::validate
