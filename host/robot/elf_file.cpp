#include "host/robot/elf_file.h"

#include <libelf.h>

#include <fstream>
#include <memory>
#include <sstream>

#include "motion/csv/error.h"

namespace korvel::host {

namespace {

std::string name(Elf* elf, std::size_t strings, std::size_t offset) {
  const char* text = elf_strptr(elf, strings, offset);
  return text != nullptr ? text : "";
}

std::vector<ElfFile::Note> notes_of(Elf* elf, const ElfFile::Segment& segment) {
  std::vector<ElfFile::Note> notes;
  Elf_Data* data = elf_getdata_rawchunk(elf, static_cast<std::int64_t>(segment.p_offset), segment.p_filesz,
                                        segment.p_align == 8 ? ELF_T_NHDR8 : ELF_T_NHDR);
  GElf_Nhdr note;
  std::size_t owner = 0;
  std::size_t bytes = 0;
  for (std::size_t at = 0; data != nullptr && (at = gelf_getnote(data, at, &note, &owner, &bytes)) > 0;) {
    const char* start = static_cast<const char*>(data->d_buf);
    // The owner's size counts the zero at its end.
    notes.push_back({std::string(start + owner, note.n_namesz > 0 ? note.n_namesz - 1 : 0), note.n_type,
                     std::string(start + bytes, note.n_descsz)});
  }
  return notes;
}

}  // namespace

ElfFile::ElfFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes(SELFMAG, '\0');
  file.read(bytes.data(), SELFMAG);
  if (bytes == ELFMAG) {
    std::ostringstream rest;
    rest << file.rdbuf();
    bytes += rest.str();
  }
  elf_version(EV_CURRENT);
  const std::unique_ptr<Elf, decltype(&elf_end)> owned(elf_memory(bytes.data(), bytes.size()), elf_end);
  Elf* elf = owned.get();
  if (elf == nullptr || elf_kind(elf) != ELF_K_ELF) throw Error("{}: not an ELF file", path.string());
  bits = gelf_getclass(elf) == ELFCLASS64 ? 64 : 32;

  const auto require_inside = [&](std::size_t offset, std::size_t size) {
    if (offset > bytes.size() || size > bytes.size() - offset) is_whole = false;
  };
  GElf_Ehdr header;
  if (gelf_getehdr(elf, &header) != nullptr) {
    is_shared = header.e_type == ET_DYN;
    require_inside(header.e_phoff, std::size_t{header.e_phnum} * header.e_phentsize);
    require_inside(header.e_shoff, std::size_t{header.e_shnum} * header.e_shentsize);
  } else {
    is_whole = false;
  }

  std::size_t count = 0;
  elf_getphdrnum(elf, &count);
  GElf_Phdr segment;
  for (int i = 0; static_cast<std::size_t>(i) < count && gelf_getphdr(elf, i, &segment) != nullptr; ++i) {
    segments.push_back(segment);
    if (segment.p_type != PT_NULL) require_inside(segment.p_offset, segment.p_filesz);
    if (segment.p_type != PT_NOTE) continue;
    for (Note& note : notes_of(elf, segment)) notes.push_back(std::move(note));
  }

  for (Elf_Scn* section = nullptr; (section = elf_nextscn(elf, section)) != nullptr;) {
    GElf_Shdr table;
    if (gelf_getshdr(section, &table) == nullptr) continue;
    if (table.sh_type != SHT_DYNAMIC && table.sh_type != SHT_DYNSYM) continue;
    Elf_Data* data = elf_getdata(section, nullptr);
    GElf_Dyn entry;
    GElf_Sym symbol;
    for (int i = 0; table.sh_type == SHT_DYNAMIC && gelf_getdyn(data, i, &entry) != nullptr; ++i) {
      dynamic_entries.push_back(entry);
      if (entry.d_tag == DT_NEEDED) needed.push_back(name(elf, table.sh_link, entry.d_un.d_val));
    }
    for (int i = 0; table.sh_type == SHT_DYNSYM && gelf_getsym(data, i, &symbol) != nullptr; ++i) {
      symbols.push_back({name(elf, table.sh_link, symbol.st_name),
                         static_cast<unsigned char>(GELF_ST_TYPE(symbol.st_info)),
                         static_cast<unsigned char>(GELF_ST_BIND(symbol.st_info)), symbol.st_shndx != SHN_UNDEF});
    }
  }
}

}  // namespace korvel::host
