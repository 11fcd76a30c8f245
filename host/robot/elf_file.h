#pragma once

#include <gelf.h>

#include <filesystem>
#include <string>
#include <vector>

namespace korvel::host {

/// Reads the file of a shared library, whatever machine it is for, without loading it.
struct ElfFile {
  using Segment = GElf_Phdr;
  using DynamicEntry = GElf_Dyn;
  /// A name that the library offers to others, or that others must offer to it.
  struct Symbol {
    std::string name;
    unsigned char type;  ///< STT_FUNC, ...
    unsigned char binding;
    bool defined;
  };
  struct Note {
    std::string owner;
    unsigned type;
    std::string bytes;
  };

  /// Throws Error if it is not an ELF file. What lies outside of a file that was cut short is left out.
  explicit ElfFile(const std::filesystem::path& path);

  int bits = 0;  ///< 32 or 64
  /// True for a library, and for a program that can be loaded at any address.
  bool is_shared = false;
  /// False if the file ends before the segments or the table of sections that it speaks of.
  bool is_whole = true;
  std::vector<Segment> segments;
  std::vector<Note> notes;
  std::vector<DynamicEntry> dynamic_entries;
  std::vector<Symbol> symbols;
  std::vector<std::string> needed;  ///< the libraries that are loaded with this one
};

}  // namespace korvel::host
