#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/io/outputs.h"
#include "host/io/temporary_name.h"

namespace korvel::host {

/// A text file that appears under its name only when it is complete. Until `commit` it has no name, so that whatever
/// ends the process leaves nothing behind; without `commit` what stood under the name stays. Where the file system
/// or the process cannot hold it so, it has a TemporaryName that no other file has, beside the final one.
/// A file that is replaced hands on its permissions and, as far as the user may set them, its owner and group.
class OutputFile {
 public:
  /// Throws Error if the file cannot be made.
  explicit OutputFile(OutputPath path);

  const OutputPath& path() const { return path_; }
  /// The system's handle, for a program that writes the file. Not after `close`.
  int descriptor() const { return fileno(file_.get()); }

  /// Throws Error if writing fails.
  void write(std::string_view text);
  /// Ends writing, which frees the system's handle if many are taken; `commit` may come later. Throws Error if that
  /// fails.
  void close();
  /// Completes the file; nothing may be written afterwards. Throws Error if that fails.
  void commit();

 private:
  struct Closer {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };

  bool open_without_name(int mode);
  void open_with_name(int mode);
  void flush();
  /// Makes a name beside the target by a function that returns a negative number, and errno, where one is taken.
  template <typename Make>
  int make_name(const Make& make);
  /// Gives a file without a name the path. False, and errno, if that fails.
  bool link_to(const std::filesystem::path& path) const;
  /// Gives it a name beside the target.
  void link_beside();

  OutputPath path_;
  /// Where the file stands before it is complete, if it has a name.
  std::optional<TemporaryName> temporary_;
  std::unique_ptr<std::FILE, Closer> file_;
};

}  // namespace korvel::host
