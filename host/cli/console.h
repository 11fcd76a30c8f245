#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "host/process/output_file.h"

namespace korvel::host {

/// A standard stream cannot be written to.
class StreamError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// Missing standard streams become ones that fail, so that no file that is opened later gets their numbers.
void reserve_standard_streams();

/// Writes one line to the standard error, "korvel-host: KIND: LINE". The kind is error, warning or note. Throws
/// StreamError if that fails.
void tell(const char* kind, std::string_view line);

/// Writes text for people to the standard output; what could steer a terminal is made visible. On a terminal, verdicts
/// are in colour unless NO_COLOR is set. Throws StreamError.
void show(std::string_view text);

/// Shows what a command is doing and how much of it is done on one line of the standard error, if that is a terminal,
/// and clears the line in the end.
class ProgressLine {
 public:
  explicit ProgressLine(std::string what) : what_(std::move(what)) {}
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine() { clear(); }
  void show(double share);
  /// Clears the line, also of what a child process has shown.
  void clear();

 private:
  std::string what_;
  int percent_ = -1;
};

/// Returns "wrote FILE, 1.2 MB\n". The file exists.
std::string wrote(const std::filesystem::path& file);

/// The destination of a command's text: the standard output, or a file that the user named.
class Destination {
 public:
  Destination() = default;
  Destination(const std::optional<std::filesystem::path>& file, Outputs& outputs);

  /// Text for people, as `show` has it. Throws StreamError, or Error for a file.
  void write_text(std::string_view text);
  /// Text for programs, as it is.
  void write(std::string_view text);
  /// All has been written. Throws like writing.
  void commit();

 private:
  std::optional<OutputFile> file_;
};

}  // namespace korvel::host
