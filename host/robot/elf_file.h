#pragma once

#include <gelf.h>

#include <filesystem>
#include <string>
#include <vector>

namespace korvel::host {

/// What a shared library's file says, of whatever machine it is for. Nothing is loaded.
class ElfFile {
 public:
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

  /// Throws Error if the file is none of the kind. What lies outside of a file that was cut short is left out.
  explicit ElfFile(const std::filesystem::path& path);

  /// 32 or 64.
  int bits() const { return bits_; }
  /// False if the file ends before the segments or the table of sections that it speaks of.
  bool is_whole() const { return is_whole_; }
  const std::vector<Segment>& segments() const { return segments_; }
  const std::vector<Note>& notes() const { return notes_; }
  const std::vector<DynamicEntry>& dynamic_entries() const { return dynamic_; }
  const std::vector<Symbol>& symbols() const { return symbols_; }
  /// Of the libraries that are loaded with this one.
  const std::vector<std::string>& needed() const { return needed_; }

 private:
  int bits_;
  bool is_whole_ = true;
  std::vector<Segment> segments_;
  std::vector<Note> notes_;
  std::vector<DynamicEntry> dynamic_;
  std::vector<Symbol> symbols_;
  std::vector<std::string> needed_;
};

}  // namespace korvel::host
