#pragma once

#include <filesystem>

namespace korvel::host {

/// The name of a file that must not stay: it is removed with this object, and by SIGINT, SIGTERM, SIGHUP, SIGQUIT and
/// SIGPIPE where they end the process. SIGKILL leaves it.
class TemporaryName {
 public:
  /// The file need not be there yet.
  explicit TemporaryName(std::filesystem::path path);
  TemporaryName(const TemporaryName&) = delete;
  TemporaryName& operator=(const TemporaryName&) = delete;
  ~TemporaryName();

  const std::filesystem::path& path() const { return path_; }
  /// It is no longer this object's.
  void release();

 private:
  std::filesystem::path path_;
};

}  // namespace korvel::host
