#pragma once

#include <link.h>

#include <filesystem>
#include <string>
#include <vector>

namespace korvel::validate {

/// What the loader reads of a shared library, as it stands in the file. Nothing is loaded.
class ElfFile {
 public:
  using Segment = ElfW(Phdr);
  using DynamicEntry = ElfW(Dyn);
  /// A name that the library offers to others, or that others must offer to it.
  struct Symbol {
    std::string name;
    unsigned char type;  ///< STT_FUNC, ...
    unsigned char binding;
    bool defined;
  };

  /// Throws Finding if the file is none that this machine's loader could read.
  explicit ElfFile(const std::filesystem::path& path);

  const std::vector<Segment>& segments() const { return segments_; }
  const std::vector<DynamicEntry>& dynamic_entries() const { return dynamic_; }
  const std::vector<Symbol>& symbols() const { return symbols_; }
  /// Of the libraries that are loaded with this one.
  std::vector<std::string> needed() const;

 private:
  using Section = ElfW(Shdr);

  template <typename Record>
  std::vector<Record> records(std::size_t offset, std::size_t count) const;
  std::string text(const Section& strings, std::size_t offset) const;

  std::string bytes_;
  std::vector<Segment> segments_;
  std::vector<DynamicEntry> dynamic_;
  std::vector<Symbol> symbols_;
  Section dynamic_strings_{};
};

}  // namespace korvel::validate
