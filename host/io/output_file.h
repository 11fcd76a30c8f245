#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

namespace korvel::host {

/// A text file that appears under its name only when it is complete. Until `commit` it grows under a temporary name
/// in the same directory; without `commit` it is removed and what stood under the name stays.
class OutputFile {
 public:
  /// Throws Error if the file cannot be made, or if `path` names something other than a regular file.
  explicit OutputFile(const std::filesystem::path& path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  /// Throws Error if writing fails.
  void write(std::string_view text);
  /// Ends writing, which frees the system's handle; `commit` may come later. Throws Error if that fails.
  void close();
  /// Completes the file; nothing may be written afterwards. Throws Error if that fails.
  void commit();

 private:
  struct Closer {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };

  std::filesystem::path path_;
  /// Empty once the file is complete.
  std::filesystem::path temporary_;
  std::unique_ptr<std::FILE, Closer> file_;
};

}  // namespace korvel::host
