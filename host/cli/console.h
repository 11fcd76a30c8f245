#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/io/output_file.h"

namespace korvel::host {

/// A standard stream cannot be written to.
class StreamError : public std::runtime_error {
  using runtime_error::runtime_error;
};

/// Missing standard streams become ones that fail, so that no file that is opened later gets their numbers.
void reserve_standard_streams();

/// Tells the user something on the standard error, on one line. Throws StreamError if that fails.
void tell(std::string_view line);

/// Writes text for people to the standard output; what could steer a terminal is made visible. Throws StreamError.
void show(std::string_view text);

/// What every command with --json writes. Names that are not UTF-8 lose what cannot be shown.
std::string json_text(const nlohmann::json& all);

/// Where the text of a command goes: the standard output, or a file that the user named.
class Destination {
 public:
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
