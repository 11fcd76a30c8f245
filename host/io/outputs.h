#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/io/error.h"

namespace korvel::host {

/// A path that a command may write to: of a regular file or of none yet, and of nothing that the command reads.
class OutputPath {
 public:
  /// As the user named it.
  const std::filesystem::path& named() const { return named_; }
  /// The file behind symbolic links, which need not be there yet; its directory is.
  const std::filesystem::path& target() const { return target_; }

 private:
  friend class Outputs;
  OutputPath() = default;

  std::filesystem::path named_, target_;
};

/// All files that a command reads and writes. Every output goes through here, so that none destroys an input or
/// another output, however both are named.
class Outputs {
 public:
  /// The command reads `path`; `what` is that for the user: "the motion". It need not be there.
  void keep(const std::filesystem::path& path, const std::string& what);

  /// Throws Error if `path` cannot be written to, is a file that was kept or claimed before, or a program or library.
  /// A symbolic link is followed; one that leads nowhere is refused.
  OutputPath claim(const std::filesystem::path& path);

 private:
  /// A file, or the name that it will have in a directory.
  struct Identity {
    dev_t device;
    ino_t file;
    std::string name;  ///< empty if the file is there

    bool operator==(const Identity& other) const {
      return device == other.device && file == other.file && name == other.name;
    }
  };
  struct Taken {
    Identity identity;
    std::string what;
  };

  std::vector<Taken> taken_;
};

/// "path: cannot write: " and the system's words for the error.
Error write_error(const std::filesystem::path& path, int code);

}  // namespace korvel::host
