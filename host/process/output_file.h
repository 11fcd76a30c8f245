#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "motion/csv/error.h"

namespace korvel::host {

/// A path that a command may write to.
struct OutputPath {
  std::filesystem::path named;   ///< as the user named it
  std::filesystem::path target;  ///< the file behind symbolic links, which may not exist yet; its directory does
};

/// All files that a command reads and writes. Every output is claimed here, so that none replaces an input or another
/// output, however both are named.
class Outputs {
 public:
  /// The command reads `path`, which need not exist; `what` names it for the user, as in "the motion".
  void keep(const std::filesystem::path& path, const std::string& what);

  /// Throws Error if `path` cannot be written to, is a file that was kept or claimed before, or is a program or
  /// library. A symbolic link is followed; one that leads nowhere is refused.
  OutputPath claim(const std::filesystem::path& path);

 private:
  /// Paths, and what the files are; they need not exist.
  std::vector<std::pair<std::filesystem::path, std::string>> taken_;
};

/// A text file that appears under its name only when it is complete. Without `commit`, an older file of that name
/// stays. Until then the file has no name where the file system can hold such a file, so that nothing is left behind
/// however the process ends. Elsewhere, and among many outputs that are closed early, a signal leaves a file
/// `.korvel-*` beside the target. A file that is replaced keeps its permissions and, as far as the user may set them,
/// its owner and group.
class OutputFile {
 public:
  /// Throws Error if the file cannot be made.
  explicit OutputFile(OutputPath path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  const OutputPath& path() const { return path_; }

  /// Throws Error if writing fails.
  void write(std::string_view text);
  /// Ends writing, which frees the file's descriptor if half of those that the process may have are taken; `commit`
  /// follows. Throws Error if that fails.
  void close();
  /// Completes the file on the disk and gives it its name. Throws Error if that fails.
  void commit();

 private:
  struct Closer {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };

  struct NotOpened {};
  OutputFile(OutputPath path, NotOpened) : path_(std::move(path)) {}

  /// Gives the file a temporary name if it has none, and closes it.
  void close_with_name();
  /// Throws Error with the system's reason if `succeeded` is false.
  void require(bool succeeded) const;

  OutputPath path_;
  std::filesystem::path temporary_;  ///< where the file is before it is complete; empty while it has no name
  std::unique_ptr<std::FILE, Closer> file_;
};

/// "path: cannot write: " and the system's words for the error.
Error write_error(const std::filesystem::path& path, int code);

}  // namespace korvel::host
